#include "vendor_table.h"

#include "core/text.h"
#include "internal_devices.h"
#include "platform.h"
#include "result_codes.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace {

const char kVendorFile[] = "/etc/device_mac_brand.txt";
const char kUnknownVendor[] = "Unknown Vendor";
// "A1:B2:C3 " then the name: the name starts at the tenth character.
const size_t kNameOffset = 9;

vendor_table g_table;
bool g_built = false;

int32_t compare_keys(const void* a, const void* b) { return strcmp((const char*)a, (const char*)b); }

// Frees the key of a repeated OUI (the tree keeps the first one).
void release_key(void* key, void* node) {
    if (!node) free(key);
}

void free_key(void* key, void*) { free(key); }

// Appends a name and returns its index. Out of memory ends the process with
// status -1, as the router's daemons expect of this table.
int add_name(vendor_table* table, const char* name) {
    if (table->count == table->capacity) {
        int capacity = table->capacity ? table->capacity * 2 : 8;
        char** names = (char**)plat_realloc(table->names, (size_t)capacity * sizeof *names);
        if (!names) exit(-1);
        table->names = names;
        table->capacity = capacity;
    }
    char* copy = plat_strdup(name);
    if (!copy) exit(-1);
    table->names[table->count] = copy;
    return table->count++;
}

void forget_at_exit() { vendor_table_forget(); }

}  // namespace

void vendor_table_fill(vendor_table* table, FILE* file) {
    avl_initialize(&table->tree, compare_keys, release_key);
    char line[128];
    int previous = -1;  // the name index of the line before, for merging repeats
    // Lines are read 127 characters at a time: the rest of a longer line is
    // read as a line of its own, as the router has always done.
    while (fgets(line, sizeof line, file)) {
        size_t length = strlen(line);
        if (length < kNameOffset) {
            previous = -1;
            continue;
        }
        // Deliberate: the final character is cut off whatever it is (the
        // newline, or the name's last letter on a last line without one).
        line[length - 1] = '\0';
        const char* name = length > kNameOffset ? line + kNameOffset : "";
        int index = previous >= 0 && strcmp(table->names[previous], name) == 0 ? previous : add_name(table, name);
        previous = index;
        char* key = (char*)plat_malloc(7);
        if (!key) exit(-1);
        const char digits[6] = {line[0], line[1], line[3], line[4], line[6], line[7]};
        memcpy(key, digits, 6);
        key[6] = '\0';
        avl_insert(&table->tree, key, (void*)(intptr_t)(index + 1));
    }
}

void vendor_table_clear(vendor_table* table) {
    if (table->tree.root) avl_destroy(&table->tree, free_key);
    for (int i = 0; i < table->count; i++) free(table->names[i]);
    free(table->names);
    memset(table, 0, sizeof *table);
}

vendor_table* vendor_table_get() {
    if (g_built) return &g_table;
    FILE* file = plat_fopen(kVendorFile, "r");
    if (!file) return nullptr;
    vendor_table_fill(&g_table, file);
    fclose(file);
    static bool registered = false;
    if (!registered) registered = atexit(forget_at_exit) == 0;
    g_built = true;
    return &g_table;
}

void vendor_table_forget() {
    if (g_built) vendor_table_clear(&g_table);
    g_built = false;
}

void vendor_brand(vendor_table* table, const unsigned char* mac, char* brand) {
    if (!table || vespin_get_device_brand(mac, &table->tree, table->names, brand) != 0)
        copy_text(brand, 16, kUnknownVendor);
}

int vespin_get_device_brand(const uint8_t* mac, avl_tree* tree, char** names, char* out) {
    if (!mac || !tree || !names || !out) return VESPIN_ERR_FAILURE;
    memset(out, 0, 16);
    char key[7];
    snprintf(key, sizeof key, "%02X%02X%02X", mac[0], mac[1], mac[2]);
    intptr_t index = (intptr_t)avl_search(tree, key);
    if (index <= 0) return VESPIN_ERR_FAILURE;
    copy_text(out, 16, names[index - 1]);
    return VESPIN_OK;
}
