// System V shared memory for the mesh table. The key comes from
// plat_shm_key(), so emulated nodes and parallel tests never share a segment.
#include "platform.h"

#include <sys/ipc.h>
#include <sys/shm.h>

int plat_shm_get(int key, size_t size) { return shmget((key_t)key, size, IPC_CREAT | 0666); }

void* plat_shm_attach(int id) {
    void* address = shmat(id, nullptr, 0);
    return address == (void*)-1 ? nullptr : address;
}

void plat_shm_detach(const void* address) {
    if (address) shmdt(address);
}

int plat_shm_remove(int key) {
    int id = shmget((key_t)key, 0, 0);
    if (id < 0) return -1;
    return shmctl(id, IPC_RMID, nullptr);
}
