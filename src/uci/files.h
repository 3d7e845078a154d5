// The engine's file access, on host paths of the directories it is given
// (it stands in for the system's UCI library, which does its own I/O).
#pragma once

#include <sys/types.h>

#include <string>

namespace vuci {

// Reads a whole file through the platform (the paths the engine is given
// are resolved already, so they pass unchanged): OK, ERR_NOTFOUND (missing)
// or ERR_IO.
int read_file(const std::string& path, std::string* out);
// Replaces a file through a temporary file in the same directory (written,
// flushed, renamed over it): on any failure the old file is untouched.
// A symbolic link is followed: its target is replaced and the link kept.
int replace_file(const std::string& path, const std::string& data, mode_t mode);
// Appends to a file, creating it with `mode`, and its directory (when
// missing) with `dir_mode`.
int append_file(const std::string& path, const std::string& data, mode_t mode, mode_t dir_mode);
// The mode bits of a file, or `fallback` when it cannot be seen.
mode_t file_mode(const std::string& path, mode_t fallback);

// What tells one version of a file from another without reading it.
// Commits replace a package file by renaming a new one over it, so any
// commit changes the inode and the change time; an edit in place changes the
// size or the modification time.
struct file_identity {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    long long mtime_ns = 0;
    long long ctime_ns = 0;

    bool operator==(const file_identity& o) const {
        return exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
               mtime_ns == o.mtime_ns && ctime_ns == o.ctime_ns;
    }
    bool operator!=(const file_identity& o) const { return !(*this == o); }
};
// The identity of the file at `path` now (exists is false when it cannot be seen).
file_identity identify_file(const std::string& path);

// An exclusive lock on a package file, held until destruction. It locks the
// file that is at the path once locked, so a commit that renamed a new file
// over the old one while we waited does not leave us holding a stale lock.
class file_lock {
  public:
    file_lock() = default;
    ~file_lock();
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;
    // OK (a missing file is not locked and counts as OK) or ERR_IO.
    int lock(const std::string& path);

  private:
    int fd_ = -1;
};

// Test hook: while non-zero, writes of replace_file and append_file fail
// with this errno after half of the data went out, as on a full disk.
void set_write_fault(int error_number);

}  // namespace vuci
