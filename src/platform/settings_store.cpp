// The emulated settings store behind the apmib_* entry points, used when the
// build has no vendor settings library. The store file holds one value per
// line, "KEY = VALUE", where KEY is the id, "ID@RADIO" for per-radio ids or
// "ID@RADIO.IFACE" for per-interface ids, and VALUE is a decimal integer, a
// dotted IPv4 address, a double-quoted text (C escapes) or hex bytes (raw
// blocks and table entries). A table's entries are lines keyed by its get id,
// in order. '#' starts a comment line.
#include "apmib.h"
#include "platform.h"
#include "hooks.h"
#include "settings_schema.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <sstream>

int wlan_idx = 0;
int vwlan_idx = 0;

namespace {

const char kCurrentFile[] = "/flash/mib.conf";
const char kDefaultFile[] = "/flash/mib-default.conf";
const int kRadios = 2;
const int kInterfaces = 6;

using bytes = std::vector<unsigned char>;

struct settings_image {
    std::map<std::string, bytes> values;
    std::map<std::string, std::vector<bytes>> tables;
};

struct settings_store {
    bool loaded = false;
    std::string root;  // the root it was loaded from
    settings_image current;
    settings_image defaults;
    int saved_wlan_idx = 0;
    int saved_vwlan_idx = 0;
};

settings_store& store() {
    static settings_store* s = new settings_store();
    return *s;
}

// The key of an id under the current radio and interface, or "" when the
// indexes are out of range.
std::string scoped_key(int id, setting_scope scope) {
    std::string key = std::to_string(id);
    if (scope == SCOPE_GLOBAL) return key;
    if (wlan_idx < 0 || wlan_idx >= kRadios) return std::string();
    key += "@" + std::to_string(wlan_idx);
    if (scope == SCOPE_RADIO) return key;
    if (vwlan_idx < 0 || vwlan_idx >= kInterfaces) return std::string();
    return key + "." + std::to_string(vwlan_idx);
}

int key_id(const std::string& key) { return atoi(key.c_str()); }

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool parse_hex(const std::string& text, size_t size, bytes* out) {
    out->assign(size, 0);
    if (text.size() % 2 || text.size() / 2 > size) return false;
    for (size_t i = 0; i < text.size(); i += 2) {
        int hi = hex_digit(text[i]), lo = hex_digit(text[i + 1]);
        if (hi < 0 || lo < 0) return false;
        (*out)[i / 2] = (unsigned char)(hi * 16 + lo);
    }
    return true;
}

bool parse_quoted(const std::string& text, size_t size, bytes* out) {
    if (text.size() < 2 || text.front() != '"' || text.back() != '"') return false;
    std::string value;
    for (size_t i = 1; i + 1 < text.size(); i++) {
        char c = text[i];
        if (c != '\\') {
            value += c;
            continue;
        }
        if (++i + 1 >= text.size()) return false;
        switch (text[i]) {
            case 'n': value += '\n'; break;
            case 't': value += '\t'; break;
            case 'x':
                if (i + 3 >= text.size() || hex_digit(text[i + 1]) < 0 || hex_digit(text[i + 2]) < 0) return false;
                value += (char)(hex_digit(text[i + 1]) * 16 + hex_digit(text[i + 2]));
                i += 2;
                break;
            default: value += text[i];
        }
    }
    out->assign(size, 0);
    memcpy(out->data(), value.data(), std::min(value.size(), size - 1));
    return true;
}

// Reads one value text of a kind into its stored bytes.
bool parse_value(setting_kind kind, int size, const std::string& text, bytes* out) {
    if (kind == SETTING_INT) {
        char* end = nullptr;
        long v = strtol(text.c_str(), &end, 0);
        if (end == text.c_str() || *end) return false;
        int i = (int)v;
        out->assign((unsigned char*)&i, (unsigned char*)&i + sizeof i);
        return true;
    }
    if (kind == SETTING_IPV4) {
        struct in_addr a;
        if (!inet_aton(text.c_str(), &a)) return false;
        out->assign((unsigned char*)&a, (unsigned char*)&a + 4);
        return true;
    }
    if (kind == SETTING_TEXT) return parse_quoted(text, (size_t)size, out);
    return parse_hex(text, (size_t)size, out);
}

std::string format_value(setting_kind kind, const bytes& value) {
    char buf[32];
    if (kind == SETTING_INT) {
        int i;
        memcpy(&i, value.data(), sizeof i);
        return std::to_string(i);
    }
    if (kind == SETTING_IPV4) {
        struct in_addr a;
        memcpy(&a, value.data(), 4);
        return inet_ntoa(a);
    }
    std::string text;
    if (kind == SETTING_TEXT) {
        text = "\"";
        for (unsigned char c : value) {
            if (!c) break;
            if (c == '"' || c == '\\') text += '\\', text += (char)c;
            else if (c == '\n') text += "\\n";
            else if (c == '\t') text += "\\t";
            else if (c < 32 || c > 126) snprintf(buf, sizeof buf, "\\x%02x", c), text += buf;
            else text += (char)c;
        }
        return text + "\"";
    }
    for (unsigned char c : value) snprintf(buf, sizeof buf, "%02x", c), text += buf;
    return text;
}

std::string trimmed(const std::string& s) {
    size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos) return std::string();
    size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

// Loads one store file; a missing file is an empty image. Lines that do not
// parse, or name ids the schema does not know, are skipped.
void load_image(const char* path, settings_image* image) {
    *image = settings_image();
    std::string text;
    if (!plat_read_file(path, &text)) return;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        line = trimmed(line);
        size_t eq = line.find('=');
        if (line.empty() || line[0] == '#' || eq == std::string::npos) continue;
        std::string key = trimmed(line.substr(0, eq));
        std::string value = trimmed(line.substr(eq + 1));
        int id = key_id(key);
        bytes parsed;
        if (const setting_field* f = settings_schema_field(id)) {
            if (parse_value(f->kind, f->size, value, &parsed)) image->values[key] = parsed;
        } else if (const setting_table* t = settings_schema_table_by_get_id(id)) {
            auto& entries = image->tables[key];
            if ((int)entries.size() < t->max_entries && parse_hex(value, (size_t)t->entry_size, &parsed))
                entries.push_back(parsed);
        }
    }
}

std::string format_image(const settings_image& image) {
    std::vector<std::string> lines;
    for (const auto& v : image.values) {
        const setting_field* f = settings_schema_field(key_id(v.first));
        if (f) lines.push_back(v.first + " = " + format_value(f->kind, v.second));
    }
    for (const auto& t : image.tables)
        for (const auto& entry : t.second) lines.push_back(t.first + " = " + format_value(SETTING_RAW, entry));
    // Numeric order by id keeps the file stable and easy to read.
    std::stable_sort(lines.begin(), lines.end(), [](const std::string& a, const std::string& b) {
        return key_id(a) < key_id(b);
    });
    std::string text = "# settings store: KEY = VALUE, KEY is ID, ID@RADIO or ID@RADIO.IFACE\n";
    for (const auto& l : lines) text += l + "\n";
    return text;
}

bool ensure_loaded() {
    if (!plat_is_emulated()) return false;
    settings_store& s = store();
    if (s.loaded && s.root == plat_root()) return true;
    load_image(kCurrentFile, &s.current);
    load_image(kDefaultFile, &s.defaults);
    s.root = plat_root();
    s.loaded = true;
    return true;
}

bool fault_injected(int id, int operation_bit) {
    if (plat_fault_due(PLAT_FAULT_SETTING)) return true;
    for (const auto& f : plat_hooks_state().failing_settings)
        if (f.first == id && (f.second & operation_bit)) return true;
    return false;
}

// The bytes of a plain setting: current value, else default file, else the
// schema's factory value, else zeros.
bytes read_field(const setting_field* f, const std::string& key, bool defaults_only) {
    settings_store& s = store();
    if (!defaults_only) {
        auto it = s.current.values.find(key);
        if (it != s.current.values.end()) return it->second;
    }
    auto it = s.defaults.values.find(key);
    if (it != s.defaults.values.end()) return it->second;
    bytes value;
    if (f->factory && parse_value(f->kind, f->size, f->factory, &value)) return value;
    return bytes((size_t)f->size, 0);
}

void copy_out(const setting_field* f, const bytes& value, void* out) {
    if (f->kind == SETTING_TEXT) {
        size_t n = strnlen((const char*)value.data(), value.size());
        memcpy(out, value.data(), n);
        ((char*)out)[n] = 0;
        return;
    }
    memcpy(out, value.data(), value.size());
}

std::vector<bytes>& table_entries(const setting_table* t, const std::string& key) {
    settings_store& s = store();
    auto it = s.current.tables.find(key);
    if (it != s.current.tables.end()) return it->second;
    auto def = s.defaults.tables.find(key);
    auto& entries = s.current.tables[key];
    if (def != s.defaults.tables.end()) entries = def->second;
    (void)t;
    return entries;
}

int table_get(const setting_table* t, setting_table_role role, void* value) {
    std::string key = scoped_key(t->get_id, t->scope);
    if (key.empty()) return 0;
    auto& entries = table_entries(t, key);
    if (role == TABLE_COUNT) {
        int count = (int)entries.size();
        memcpy(value, &count, sizeof count);
        return 1;
    }
    if (role != TABLE_GET) return 0;
    int index = *(unsigned char*)value;
    if (index < 1 || index > (int)entries.size()) return 0;
    memcpy(value, entries[(size_t)index - 1].data(), (size_t)t->entry_size);
    return 1;
}

int table_set(const setting_table* t, setting_table_role role, void* value) {
    std::string key = scoped_key(t->get_id, t->scope);
    if (key.empty()) return 0;
    auto& entries = table_entries(t, key);
    bytes entry((unsigned char*)value, (unsigned char*)value + t->entry_size);
    switch (role) {
        case TABLE_ADD:
            if ((int)entries.size() >= t->max_entries) return 0;
            entries.push_back(entry);
            return 1;
        case TABLE_DELETE:
            for (auto it = entries.begin(); it != entries.end(); ++it) {
                if (*it == entry) {
                    entries.erase(it);
                    return 1;
                }
            }
            return 0;
        case TABLE_DELETE_ALL:
            entries.clear();
            return 1;
        default:
            return 0;
    }
}

int get_setting(int id, void* value, bool defaults_only) {
    if (!value || fault_injected(id, 1) || !ensure_loaded()) return 0;
    if (const setting_field* f = settings_schema_field(id)) {
        std::string key = scoped_key(id, f->scope);
        if (key.empty()) return 0;
        copy_out(f, read_field(f, key, defaults_only), value);
        return 1;
    }
    setting_table_role role;
    if (const setting_table* t = settings_schema_table(id, &role)) return table_get(t, role, value);
    return 0;
}

}  // namespace

extern "C" {

int apmib_init(void) { return ensure_loaded() ? 1 : 0; }

int apmib_reinit(void) {
    store().loaded = false;
    return apmib_init();
}

int apmib_get(int id, void* value) { return get_setting(id, value, false); }

int apmib_getDef(int id, void* value) { return get_setting(id, value, true); }

int apmib_set(int id, void* value) {
    if (!value || fault_injected(id, 2) || !ensure_loaded()) return 0;
    if (const setting_field* f = settings_schema_field(id)) {
        std::string key = scoped_key(id, f->scope);
        if (key.empty()) return 0;
        bytes stored((size_t)f->size, 0);
        if (f->kind == SETTING_TEXT)
            memcpy(stored.data(), value, strnlen((const char*)value, (size_t)f->size - 1));
        else
            memcpy(stored.data(), value, (size_t)f->size);
        store().current.values[key] = stored;
        return 1;
    }
    setting_table_role role;
    if (const setting_table* t = settings_schema_table(id, &role)) return table_set(t, role, value);
    return 0;
}

int apmib_update(int flags) {
    if (plat_fault_due(PLAT_FAULT_SETTING) || !ensure_loaded()) return -1;
    settings_store& s = store();
    if ((flags & APMIB_CURRENT_SETTING) && !plat_write_file_atomic(kCurrentFile, format_image(s.current)))
        return -1;
    if ((flags & APMIB_DEFAULT_SETTING) && !plat_write_file_atomic(kDefaultFile, format_image(s.defaults)))
        return -1;
    return 0;
}

int apmib_save_wlanIdx(void) {
    store().saved_wlan_idx = wlan_idx;
    store().saved_vwlan_idx = vwlan_idx;
    return 1;
}

int apmib_recov_wlanIdx(void) {
    wlan_idx = store().saved_wlan_idx;
    vwlan_idx = store().saved_vwlan_idx;
    return 1;
}

int save_cs_to_file(void) { return apmib_update(APMIB_CURRENT_SETTING); }

}  // extern "C"
