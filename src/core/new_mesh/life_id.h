// The identity of the current boot: a UUID kept in "/tmp/life_id", which
// lies in the temporary file system and so changes with every boot. One text
// per process, read or made on first need.
#pragma once

// Copies the identity (at most 36 characters) into out (MBD_LIFE_ID_SIZE
// bytes). When the process does not know it yet it reads "/tmp/life_id";
// when that file is missing (or holds no word) it creates it, reads one word
// from "/proc/sys/kernel/random/uuid" and writes it there. 0, or 600001 with
// "Can't open /tmp/life_id" (the file cannot be created) or "Fail to read
// uuid" and "Fail to get uuid".
int mesh_life_id_get(char* out);
// Forgets the process's copy, so that the next call reads the file again
// (tests move between emulated roots).
void mesh_life_id_forget();
