// The emulated settings store's schema: every id it knows, with its kind,
// size, scope and factory value, and the tables with their five ids.
#pragma once

enum setting_kind { SETTING_INT, SETTING_IPV4, SETTING_TEXT, SETTING_RAW };
enum setting_scope { SCOPE_GLOBAL, SCOPE_RADIO, SCOPE_INTERFACE };

struct setting_field {
    int id;
    const char* name;
    setting_kind kind;
    int size;             // bytes held: 4 for integers and addresses, N for texts and blocks
    setting_scope scope;
    const char* factory;  // value text in the store file's syntax, or null for zeros
};

struct setting_table {
    const char* name;
    int count_id, get_id, add_id, delete_id, delete_all_id;
    int entry_size;
    int max_entries;
    setting_scope scope;
};

enum setting_table_role { TABLE_COUNT, TABLE_GET, TABLE_ADD, TABLE_DELETE, TABLE_DELETE_ALL };

// The field of an id, or null when the id is not a plain setting.
const setting_field* settings_schema_field(int id);
// The table one of whose ids this is (its role in *role), or null.
const setting_table* settings_schema_table(int id, setting_table_role* role);
// The table whose get id this is (the id that names its entries in the file).
const setting_table* settings_schema_table_by_get_id(int get_id);
