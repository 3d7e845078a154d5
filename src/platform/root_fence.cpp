#include "root_fence.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

// The kernel's Landlock interface, written out here because distribution
// headers lag the kernel (signal scoping is newer than most of them); these
// numbers are a stable kernel ABI. Without the system calls (a cross
// toolchain's libc) the fence is built out; the router face never needs it.
#if defined(SYS_landlock_create_ruleset) && defined(SYS_landlock_add_rule) && defined(SYS_landlock_restrict_self)

#include <stdint.h>

namespace {

struct fence_ruleset_attr {
    uint64_t handled_access_fs;
    uint64_t handled_access_net;
    uint64_t scoped;
};

struct __attribute__((packed)) fence_path_beneath_attr {
    uint64_t allowed_access;
    int32_t parent_fd;
};

const uint32_t kCreateRulesetVersion = 1u << 0;
const int kRulePathBeneath = 1;
const uint64_t kWriteFile = 1ull << 1, kRemoveDir = 1ull << 4, kRemoveFile = 1ull << 5, kMakeChar = 1ull << 6,
               kMakeDir = 1ull << 7, kMakeReg = 1ull << 8, kMakeSock = 1ull << 9, kMakeFifo = 1ull << 10,
               kMakeBlock = 1ull << 11, kMakeSym = 1ull << 12, kRefer = 1ull << 13, kTruncate = 1ull << 14;
const uint64_t kScopeSignal = 1ull << 1;

// The first Landlock version that can keep signals inside the fence.
const long kSignalScopeVersion = 6;

long landlock_version() {
    static long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, kCreateRulesetVersion);
    return version;
}

// Every right that changes the file system, as far as this kernel knows it.
uint64_t write_rights(long version) {
    uint64_t rights = kWriteFile | kRemoveDir | kRemoveFile | kMakeChar | kMakeDir | kMakeReg | kMakeSock |
                      kMakeFifo | kMakeBlock | kMakeSym;
    if (version >= 2) rights |= kRefer;
    if (version >= 3) rights |= kTruncate;
    return rights;
}

void allow_beneath(int ruleset, const char* path, uint64_t rights) {
    int fd = open(path, O_PATH | O_CLOEXEC);
    if (fd < 0) return;
    fence_path_beneath_attr rule = {};
    rule.allowed_access = rights;
    rule.parent_fd = fd;
    syscall(SYS_landlock_add_rule, ruleset, kRulePathBeneath, &rule, 0);
    close(fd);
}

}  // namespace

bool root_fence_available() { return landlock_version() >= kSignalScopeVersion; }

int root_fence_open(const std::string& root) {
    long version = landlock_version();
    if (version < 1) return -1;
    fence_ruleset_attr attributes = {};
    attributes.handled_access_fs = write_rights(version);
    if (version >= kSignalScopeVersion) attributes.scoped = kScopeSignal;
    // Older kernels know a shorter record: give them only what they know.
    size_t size = version >= kSignalScopeVersion ? sizeof attributes : version >= 4 ? 16 : 8;
    int ruleset = (int)syscall(SYS_landlock_create_ruleset, &attributes, size, 0);
    if (ruleset < 0) return -1;
    // A rule that cannot be added (a root that does not exist) leaves that
    // place closed too: the fence fails shut.
    allow_beneath(ruleset, root.c_str(), write_rights(version));
    allow_beneath(ruleset, "/dev/null", kWriteFile | (version >= 3 ? kTruncate : 0));
    return ruleset;
}

bool root_fence_enter(int ruleset) {
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return false;
    return syscall(SYS_landlock_restrict_self, ruleset, 0) == 0;
}

#else

bool root_fence_available() { return false; }
int root_fence_open(const std::string&) { return -1; }
bool root_fence_enter(int) { return false; }

#endif
