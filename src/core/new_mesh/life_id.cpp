// The per-boot identity of the node's life.
#include "life_id.h"

#include "core/log.h"
#include "mesh_node.h"
#include "platform.h"
#include "result_codes.h"
#include "core/text.h"

#include <stdio.h>

namespace {

const char kLifeIdPath[] = "/tmp/life_id";
const char kUuidPath[] = "/proc/sys/kernel/random/uuid";

char g_life_id[MBD_LIFE_ID_SIZE];

// One word of at most 36 characters from a file into word; false when the
// file cannot be opened or holds no word.
bool read_word(const char* router_path, char* word) {
    FILE* file = plat_fopen(router_path, "r");
    if (!file) return false;
    bool read = fscanf(file, "%36s", word) == 1;
    fclose(file);
    return read;
}

int make_life_id() {
    FILE* file = plat_fopen(kLifeIdPath, "w");
    if (!file) {
        VLOG_ERROR("Can't open /tmp/life_id");
        return VESPIN_ERR_FAILURE;
    }
    char uuid[MBD_LIFE_ID_SIZE] = "";
    if (!read_word(kUuidPath, uuid)) {
        fclose(file);
        VLOG_ERROR("Fail to read uuid");
        VLOG_ERROR("Fail to get uuid");
        return VESPIN_ERR_FAILURE;
    }
    fprintf(file, "%s", uuid);
    fclose(file);
    copy_text(g_life_id, sizeof g_life_id, uuid);
    return 0;
}

}  // namespace

int mesh_life_id_get(char* out) {
    if (!g_life_id[0]) {
        char stored[MBD_LIFE_ID_SIZE] = "";
        if (read_word(kLifeIdPath, stored)) {
            copy_text(g_life_id, sizeof g_life_id, stored);
        } else {
            int code = make_life_id();
            if (code != 0) return code;
        }
    }
    copy_text(out, MBD_LIFE_ID_SIZE, g_life_id);
    return 0;
}

void mesh_life_id_forget() { g_life_id[0] = 0; }
