// Small tools: the growable buffer, string helpers, the bit map, formatting
// of time, MAC and IPv4 values, commands, directories, files, interfaces and
// the DHCP server's lease list.
#include "tools.h"

#include "log.h"
#include "platform.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

// ---- growable buffer -------------------------------------------------------

Buffer* buffer_new(unsigned int capacity) {
    // The capacity is checked as a signed number after multiplying by 4, so
    // 0, negative and overflowing values fail; the second test keeps the
    // usable size (plus the terminator) inside the signed 32-bit field.
    if ((int32_t)(capacity * 4u) < 1 || capacity >= (unsigned int)INT32_MAX) return nullptr;
    Buffer* buffer = (Buffer*)plat_calloc(1, sizeof(Buffer));
    if (!buffer) return nullptr;
    buffer->data = (char*)plat_calloc((size_t)capacity + 1, 1);
    if (!buffer->data) {
        free(buffer);
        return nullptr;
    }
    buffer->capacity = (int32_t)capacity;
    buffer->length = 0;
    return buffer;
}

namespace {

// Doubles the capacity until `needed` bytes fit; false (buffer unchanged) when
// that size cannot be represented or allocated.
bool buffer_grow(Buffer* buffer, int64_t needed) {
    if (needed >= INT32_MAX) return false;
    int64_t capacity = buffer->capacity > 0 ? buffer->capacity : 1;
    capacity *= 2;
    while (capacity < needed) capacity *= 2;
    if (capacity >= INT32_MAX) capacity = needed;
    char* data = (char*)plat_calloc((size_t)capacity + 1, 1);
    if (!data) return false;
    memcpy(data, buffer->data, (size_t)buffer->capacity + 1);
    free(buffer->data);
    buffer->data = data;
    buffer->capacity = (int32_t)capacity;
    return true;
}

}  // namespace

void buffer_nappend(Buffer* buffer, const char* bytes, size_t count) {
    if (!buffer || !buffer->data || !bytes) return;
    if (count == 0) count = strlen(bytes);
    if (count >= (size_t)INT32_MAX) return;
    int64_t needed = (int64_t)buffer->length + (int64_t)count;
    if (needed > buffer->capacity && !buffer_grow(buffer, needed)) return;
    memcpy(buffer->data + buffer->length, bytes, count);
    buffer->length = (int32_t)needed;
    buffer->data[buffer->length] = 0;
}

void buffer_append(Buffer* buffer, const char* text) { buffer_nappend(buffer, text, 0); }

char* buffer_get_content(Buffer* buffer) { return buffer ? buffer->data : nullptr; }

void buffer_destroy(Buffer* buffer) {
    if (!buffer) return;
    free(buffer->data);
    free(buffer);
}

size_t write_buffer(char* bytes, size_t size, size_t count, void* buffer) {
    size_t total = size * count;
    // A zero total would make buffer_nappend measure the bytes with strlen;
    // a download chunk is not NUL-terminated, so nothing is appended then.
    if (total > 0) buffer_nappend((Buffer*)buffer, bytes, total);
    return total;
}


namespace {

// Whitespace for trim is exactly tab, line feed and space; carriage return is kept.
bool trim_space(char c) { return c == '\t' || c == '\n' || c == ' '; }

char* copy_piece(const char* start, size_t length) {
    char* piece = (char*)plat_malloc(length + 1);
    if (!piece) return nullptr;
    memcpy(piece, start, length);
    piece[length] = 0;
    return piece;
}

void free_pieces(char** pieces) {
    for (char** p = pieces; *p; ++p) free(*p);
    free(pieces);
}

}  // namespace

int trim(const char* source, char* destination) {
    if (!destination) return 0;
    if (!source || !*source) {
        *destination = 0;
        return 0;
    }
    const char* last = source + strlen(source) - 1;
    const char* start = source;
    while (start < last && trim_space(*start)) ++start;
    const char* end = last;
    while (end > start && trim_space(*end)) --end;
    size_t length = (size_t)(end - start) + 1;
    memmove(destination, start, length);
    destination[length] = 0;
    return (int)length;
}

int trim_cpy(char* destination, const char* source) { return trim(source, destination); }

char** string_split(const char* text, const char* delimiter, int max_splits) {
    if (!text || !delimiter || !*delimiter || max_splits < 0) return nullptr;
    size_t text_length = strlen(text);
    // Room for (maximum + 2) pointers, or (length + 2) without a maximum; a
    // maximum beyond the length cannot produce more pieces, so the smaller
    // count is allocated and the size never overflows.
    size_t slots = max_splits == 0 || (size_t)max_splits > text_length ? text_length : (size_t)max_splits;
    char** pieces = (char**)plat_calloc(slots + 2, sizeof(char*));
    if (!pieces) return nullptr;
    size_t delimiter_length = strlen(delimiter);
    size_t count = 0;
    const char* position = text;
    const char* found;
    while ((found = strstr(position, delimiter)) != nullptr) {
        if ((pieces[count] = copy_piece(position, (size_t)(found - position))) == nullptr) {
            free_pieces(pieces);
            return nullptr;
        }
        ++count;
        position = found + delimiter_length;
        if (max_splits > 0 && count >= (size_t)max_splits) break;
    }
    if ((pieces[count] = copy_piece(position, strlen(position))) == nullptr) {
        free_pieces(pieces);
        return nullptr;
    }
    return pieces;
}

char* string_join(char** array, const char* separator, int count) {
    if (!array || count < 0) return nullptr;
    if (!separator) separator = "";
    size_t available = 0;
    while (array[available]) ++available;
    // An explicit count never reads past the terminating NULL.
    size_t used = count == 0 || (size_t)count > available ? available : (size_t)count;
    size_t separator_length = strlen(separator);
    size_t size = separator_length * used + 1;
    for (size_t i = 0; i < used; ++i) size += strlen(array[i]);
    char* joined = (char*)plat_calloc(size, 1);
    if (!joined) return nullptr;
    char* out = joined;
    for (size_t i = 0; i < used; ++i) {
        if (i > 0) {
            memcpy(out, separator, separator_length);
            out += separator_length;
        }
        size_t length = strlen(array[i]);
        memcpy(out, array[i], length);
        out += length;
    }
    return joined;
}

int escape_char(const char* text, char** out, char character, const char* replacement) {
    if (!text || !*text || !out) return 0;
    if (!replacement) replacement = "";
    size_t text_length = strlen(text);
    size_t replacement_length = strlen(replacement);
    size_t unit = replacement_length ? replacement_length : 1;
    if (text_length > (size_t)INT32_MAX / unit) return -1;
    char* result = (char*)plat_calloc(unit * text_length + 1, 1);
    if (!result) return -1;
    size_t length = 0;
    for (const char* p = text; *p; ++p) {
        if (*p == character) {
            memcpy(result + length, replacement, replacement_length);
            length += replacement_length;
        } else {
            result[length++] = *p;
        }
    }
    *out = result;
    return (int)length;
}

int strings_contains(char** array, const char* text) {
    if (!array || !text) return 0;
    for (char** p = array; *p; ++p)
        if (strcmp(*p, text) == 0) return 1;
    return 0;
}

void str_tolower(char* text) {
    if (!text) return;
    for (char* p = text; *p; ++p) *p = (char)tolower((unsigned char)*p);
}

// ---- bit map ---------------------------------------------------------------

void init_bit_map(uint32_t* map) {
    if (map) *map = 0;
}

void clear_bit_map(uint32_t* map) {
    if (map) *map = 0;
}

void set_bit_map_bit(uint32_t* map, int bit) {
    if (map) *map |= 1u << (bit & 31);
}

void clear_bit_map_bit(uint32_t* map, int bit) {
    if (map) *map &= ~(1u << (bit & 31));
}

int get_bit_map_bit(uint32_t map, int bit) {
    // The masked word is tested as a signed number, so bit 31 reads as clear.
    return (int32_t)(map & (1u << (bit & 31))) > 0 ? 1 : 0;
}

int get_bit_map_first_setting(uint32_t map) {
    // One pass from 31 down to 0; the scan would otherwise wrap round (index
    // modulo 256, then 32) and never end on a map without bits 0..30.
    for (int bit = 31; bit >= 0; --bit)
        if (get_bit_map_bit(map, bit)) return bit;
    return -1;
}

int get_bit_map_first_zero(uint32_t map) {
    int bit = 0;
    while (bit < 31 && get_bit_map_bit(map, bit)) ++bit;
    return bit;  // bit 31 always reads as clear
}

// ---- formatting ------------------------------------------------------------

char* vespin_current_time(void) {
    static char text[32];
    memset(text, 0, sizeof text);
    struct timeval now;
    plat_gettimeofday(&now);
    time_t seconds = now.tv_sec;
    struct tm utc;
    gmtime_r(&seconds, &utc);
    size_t length = strftime(text, 20, "%Y-%m-%d %H:%M:%S", &utc);
    snprintf(text + length, sizeof text - length, ".%03lu", (unsigned long)now.tv_usec / 1000);
    return text;
}

int system_mac_to_string(const unsigned char* mac, char* out) {
    if (!mac || !out) return 0;
    snprintf(out, 13, "%02x%02x%02x%02x%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return 0;
}

int ip_int_to_string(uint32_t address, char* out) {
    if (!out) return 0;
    struct in_addr in;
    in.s_addr = address;
    // inet_ntop prints an IPv4 address exactly as inet_ntoa does, without its static buffer.
    if (!inet_ntop(AF_INET, &in, out, INET_ADDRSTRLEN)) *out = 0;
    return 0;
}

// ---- commands, directories, files, interfaces -------------------------------

int run_command(int* exit_status, const char* command) {
    int status = command ? plat_system(command) : -1;
    // Low 7 bits non-zero: killed by a signal, stopped, or no shell at all (-1).
    if (status & 0x7f) {
        VLOG_ERROR("Child process error");
        return VESPIN_ERR_CHILD;
    }
    if (exit_status) *exit_status = (status >> 8) & 0xff;
    return 0;
}

int mkrdir(const char* path) {
    if (!path || strchr(path, '\'')) {
        VLOG_ERROR("Refuse to make directory %s", path ? path : "(null)");
        return VESPIN_ERR_FAILURE;
    }
    char command[256];
    int length = snprintf(command, sizeof command, "mkdir -p '%s'", path);
    if (length < 0 || (size_t)length >= sizeof command) {
        VLOG_ERROR("Refuse to make directory %s", path);
        return VESPIN_ERR_FAILURE;
    }
    int exit_code = -1;
    if (run_command(&exit_code, command) != 0 || exit_code != 0) return VESPIN_ERR_FAILURE;
    return 0;
}

int is_file_exist(const char* path) { return path && plat_access(path, F_OK) == 0 ? 1 : 0; }

int get_interface_addr(const char* name, int kind, void* out) {
    // Room for the largest answer: a 16-byte socket address.
    unsigned char answer[16];
    bool found = false;
    if (plat_if_query(name, kind, answer, &found) < 0) return -1;
    if (!found || !out) return 0;
    switch (kind) {
        case VESPIN_IF_ADDR:
        case VESPIN_IF_DSTADDR:
        case VESPIN_IF_NETMASK: memcpy(out, answer, 4); break;
        case VESPIN_IF_HWADDR: memcpy(out, answer, sizeof answer); break;
        default: break;
    }
    return 0;
}

int download_file(void) { return 0; }

int mesh_device_update(void) { return 0; }

// ---- DHCP lease list ---------------------------------------------------------

namespace {

// One record of the DHCP server's lease file: 24 bytes, no header.
constexpr size_t lease_record_size = 24;
constexpr size_t lease_address_offset = 16;  // IPv4, network byte order
constexpr size_t lease_expiry_offset = 20;   // unsigned 32-bit

const char lease_file[] = "/var/lib/misc/udhcpd.leases";

// The number the lease list sends SIGUSR1 to: the DHCP server's pid, or 2
// when its pid file is missing and 5 when the file cannot be opened. A file
// holding a number below 2 gives 0, so that nothing is signalled: 1 is init,
// and 0 and negative numbers name process groups.
int dhcp_server_pid() {
    char path[100];
    snprintf(path, sizeof path, "%s/%s.pid", "/var/run", "udhcpd");
    struct stat st;
    if (plat_stat(path, &st) != 0) return 2;
    FILE* file = plat_fopen(path, "r");
    if (!file) return 5;
    char line[32] = {0};
    if (!fgets(line, sizeof line, file)) line[0] = 0;
    fclose(file);
    int pid = atoi(line);
    return pid < 2 ? 0 : pid;
}

// Reads the whole lease file into a new block: 0, or 2, 5, 12 as the lease
// list reports them. *size gets the bytes read.
int read_lease_file(unsigned char** content, size_t* size) {
    struct stat st;
    if (plat_stat(lease_file, &st) != 0) return 2;
    size_t expected = (size_t)st.st_size;
    unsigned char* block = (unsigned char*)plat_malloc(expected ? expected : 1);
    if (!block) return 12;
    FILE* file = plat_fopen(lease_file, "rb");
    if (!file) {
        free(block);
        return 5;
    }
    *size = fread(block, 1, expected, file);
    fclose(file);
    *content = block;
    return 0;
}

}  // namespace

int get_dhcp_client_list(dhcp_lease_entry** list, int* count) {
    if (!list || !count) return 22;
    int pid = dhcp_server_pid();
    if (pid > 0) {
        char command[64];
        snprintf(command, sizeof command, "kill -SIGUSR1 %d\n", pid);
        plat_system(command);
        plat_usleep(1000);
    }
    unsigned char* content = nullptr;
    size_t size = 0;
    int error = read_lease_file(&content, &size);
    if (error) return error;
    size_t records = size / lease_record_size;  // a trailing partial record is ignored
    dhcp_lease_entry* entries = (dhcp_lease_entry*)plat_calloc(records ? records : 1, sizeof(dhcp_lease_entry));
    if (!entries) {
        free(content);
        return 12;
    }
    *list = entries;
    *count = 0;
    for (size_t i = 0; i < records; ++i) {
        const unsigned char* record = content + i * lease_record_size;
        uint32_t expires, address;
        memcpy(&expires, record + lease_expiry_offset, 4);
        if (expires == 0) continue;
        memcpy(&address, record + lease_address_offset, 4);
        dhcp_lease_entry* entry = &entries[*count];
        ip_int_to_string(address, entry->ip);
        system_mac_to_string(record, entry->mac);
        entry->expires = expires;
        ++*count;
    }
    free(content);
    return 0;
}
