// The emulated root and every file operation of the core: router paths are
// resolved here and nowhere else.
#include "platform.h"
#include "hooks.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace {

std::string& root_dir() {
    static std::string* dir = nullptr;
    if (!dir) {
        dir = new std::string();
        plat_reload_root();
    }
    return *dir;
}

}  // namespace

void plat_reload_root() {
    std::string& dir = root_dir();
    const char* env = getenv("VESPIN_ROOT");
    dir = env ? env : "";
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
}

bool plat_is_emulated() { return !root_dir().empty(); }

const std::string& plat_root() { return root_dir(); }

std::string plat_normal_path(const std::string& path) {
    std::vector<std::string> parts;
    size_t at = 0;
    while (at <= path.size()) {
        size_t slash = path.find('/', at);
        if (slash == std::string::npos) slash = path.size();
        std::string part = path.substr(at, slash - at);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();  // ".." above "/" stays at "/"
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        at = slash + 1;
    }
    std::string normal;
    for (const std::string& part : parts) normal += "/" + part;
    return normal.empty() ? "/" : normal;
}

std::string plat_path(const char* router_path) {
    if (!router_path) return std::string();
    const std::string& root = root_dir();
    if (root.empty()) return router_path;
    // Relative paths start at the router's "/", where the emulated shell works too.
    std::string normal = plat_normal_path(router_path);
    size_t n = root.size();
    if (normal.compare(0, n, root) == 0 && (normal.size() == n || normal[n] == '/'))
        return normal;  // already inside the root
    return normal == "/" ? root : root + normal;
}

FILE* plat_fopen(const char* router_path, const char* mode) {
    if (int e = plat_hooks_open_failure(router_path)) {
        errno = e;
        return nullptr;
    }
    if (!router_path) {
        errno = EFAULT;
        return nullptr;
    }
    return fopen(plat_path(router_path).c_str(), mode);
}

int plat_open(const char* router_path, int flags, mode_t mode) {
    if (int e = plat_hooks_open_failure(router_path)) {
        errno = e;
        return -1;
    }
    if (!router_path) {
        errno = EFAULT;
        return -1;
    }
    return open(plat_path(router_path).c_str(), flags | O_CLOEXEC, mode);
}

int plat_stat(const char* router_path, struct stat* st) {
    if (!router_path) {
        errno = EFAULT;
        return -1;
    }
    return stat(plat_path(router_path).c_str(), st);
}

int plat_access(const char* router_path, int how) {
    if (!router_path) {
        errno = EFAULT;
        return -1;
    }
    return access(plat_path(router_path).c_str(), how);
}

int plat_unlink(const char* router_path) {
    if (!router_path) {
        errno = EFAULT;
        return -1;
    }
    return unlink(plat_path(router_path).c_str());
}

bool plat_read_file(const char* router_path, std::string* out) {
    int fd = plat_open(router_path, O_RDONLY);
    if (fd < 0) return false;
    out->clear();
    char chunk[4096];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            int e = errno;
            close(fd);
            errno = e;
            return false;
        }
        if (n == 0) break;
        out->append(chunk, (size_t)n);
    }
    close(fd);
    return true;
}

bool plat_write_file_atomic(const char* router_path, const std::string& data, mode_t mode) {
    if (int e = plat_hooks_open_failure(router_path)) {
        errno = e;
        return false;
    }
    if (!router_path) {
        errno = EFAULT;
        return false;
    }
    std::string target = plat_path(router_path);
    std::string temp = target + ".tmpXXXXXX";
    int fd = mkostemp(&temp[0], O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = fchmod(fd, mode) == 0;
    size_t done = 0;
    while (ok && done < data.size()) {
        ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ok = false;
        else done += (size_t)n;
    }
    if (ok && !plat_hooks_skip_fsync() && fsync(fd) != 0) ok = false;
    int e = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        e = errno;
    }
    if (ok && rename(temp.c_str(), target.c_str()) != 0) {
        ok = false;
        e = errno;
    }
    if (!ok) {
        unlink(temp.c_str());
        errno = e;
    }
    return ok;
}
