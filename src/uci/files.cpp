#include "files.h"

#include "model.h"
#include "platform.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vuci {

namespace {

int g_write_fault = 0;

bool write_all(int fd, const std::string& data) {
    size_t limit = g_write_fault ? data.size() / 2 : data.size();
    size_t done = 0;
    while (done < limit) {
        ssize_t n = write(fd, data.data() + done, limit - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += (size_t)n;
    }
    if (g_write_fault) {
        errno = g_write_fault;
        return false;
    }
    return true;
}

std::string directory_of(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

// Makes a directory and its missing parents with exactly `mode` (whatever
// the umask), as the save directory may not exist yet.
void make_directories(const std::string& dir, mode_t mode) {
    for (size_t slash = dir.find('/', 1); ; slash = dir.find('/', slash + 1)) {
        std::string part = dir.substr(0, slash);
        if (mkdir(part.c_str(), mode) == 0) chmod(part.c_str(), mode);
        if (slash == std::string::npos) break;
    }
}

// The file a write to `path` must replace: a package file may be a symbolic
// link to where the device keeps it (the assets package lives under
// /vespin/config), and renaming over the link would replace the link.
std::string link_target(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
    char target[4096];
    ssize_t n = readlink(path.c_str(), target, sizeof target - 1);
    if (n <= 0) return path;
    target[n] = 0;
    return target[0] == '/' ? std::string(target) : directory_of(path) + "/" + target;
}

}  // namespace

void set_write_fault(int error_number) { g_write_fault = error_number; }

int read_file(const std::string& path, std::string* out) {
    if (plat_read_file(path.c_str(), out)) return OK;
    return errno == ENOENT || errno == ENOTDIR ? ERR_NOTFOUND : ERR_IO;
}

mode_t file_mode(const std::string& path, mode_t fallback) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : fallback;
}

int replace_file(const std::string& link_or_file, const std::string& data, mode_t mode) {
    const std::string path = link_target(link_or_file);
    std::string temp = directory_of(path) + "/.uci-XXXXXX";
    int fd = mkostemp(&temp[0], O_CLOEXEC);
    if (fd < 0) return ERR_IO;
    bool ok = fchmod(fd, mode) == 0 && write_all(fd, data) && fsync(fd) == 0;
    if (close(fd) != 0) ok = false;
    if (ok && rename(temp.c_str(), path.c_str()) != 0) ok = false;
    if (!ok) unlink(temp.c_str());
    return ok ? OK : ERR_IO;
}

int append_file(const std::string& path, const std::string& data, mode_t mode, mode_t dir_mode) {
    make_directories(directory_of(path), dir_mode);
    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, mode);
    if (fd < 0) return ERR_IO;
    // A new file gets exactly the mode asked for, whatever the umask.
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && (st.st_size > 0 || fchmod(fd, mode) == 0) && write_all(fd, data);
    if (close(fd) != 0) ok = false;
    return ok ? OK : ERR_IO;
}

file_identity identify_file(const std::string& path) {
    file_identity id;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return id;
    id.exists = true;
    id.device = st.st_dev;
    id.inode = st.st_ino;
    id.size = st.st_size;
    id.mtime_ns = (long long)st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec;
    id.ctime_ns = (long long)st.st_ctim.tv_sec * 1000000000LL + st.st_ctim.tv_nsec;
    return id;
}

file_lock::~file_lock() {
    if (fd_ >= 0) close(fd_);  // closing drops the lock
}

int file_lock::lock(const std::string& path) {
    for (;;) {
        int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return errno == ENOENT ? OK : ERR_IO;
        int r;
        do r = flock(fd, LOCK_EX);
        while (r != 0 && errno == EINTR);
        struct stat held, now;
        if (r == 0 && fstat(fd, &held) == 0 && stat(path.c_str(), &now) == 0 &&
            held.st_dev == now.st_dev && held.st_ino == now.st_ino) {
            fd_ = fd;
            return OK;
        }
        close(fd);
        if (r != 0) return ERR_IO;
    }
}

}  // namespace vuci
