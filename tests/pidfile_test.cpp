// Pid files: the written number, the lock that turns away a second starter,
// and the liveness check.
#include "pidfile.h"

#include "platform_testing.h"
#include "test_root.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

const char pid_path[] = "/var/run/vespin_test.pid";

// A child process that holds the pid file's lock until released.
class lock_holder {
  public:
    explicit lock_holder(const std::string& host_path) {
        int ready[2], release[2];
        if (pipe(ready) != 0 || pipe(release) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            close(release[1]);
            int fd = open(host_path.c_str(), O_RDWR | O_CREAT, 0644);
            char ok = fd >= 0 && flock(fd, LOCK_EX) == 0 ? '1' : '0';
            if (ok == '1') {
                std::string number = std::to_string(getpid()) + "\n";
                if (write(fd, number.data(), number.size()) < 0) ok = '0';
            }
            if (write(ready[1], &ok, 1) != 1) _exit(1);
            char done;
            while (read(release[0], &done, 1) < 0 && errno == EINTR) {
            }
            _exit(0);
        }
        close(ready[1]);
        close(release[0]);
        release_ = release[1];
        char ok = '0';
        locked_ = read(ready[0], &ok, 1) == 1 && ok == '1';
        close(ready[0]);
    }
    ~lock_holder() { finish(); }
    void finish() {
        if (release_ >= 0) close(release_);  // the child sees end of file and exits
        release_ = -1;
        if (pid_ > 0) waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    bool locked() const { return locked_; }
    pid_t pid() const { return pid_; }

  private:
    pid_t pid_ = -1;
    int release_ = -1;
    bool locked_ = false;
};

}  // namespace

TEST(PidFile, WritesReadsAndRemovesTheOwnPid) {
    test_root root;
    int own = (int)getpid();
    EXPECT_EQ(own, write_pid(pid_path));
    EXPECT_EQ(std::to_string(own) + "\n", root.read(pid_path));
    struct stat st;
    ASSERT_EQ(0, stat(root.path(pid_path).c_str(), &st));
    mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(0644u & ~mask, st.st_mode & 0777);
    EXPECT_EQ(own, read_pid(pid_path));
    EXPECT_EQ(0, check_pid(pid_path));  // the caller's own pid

    // A second write by the same process succeeds: the lock is released after each write.
    EXPECT_EQ(own, write_pid(pid_path));

    EXPECT_EQ(0, remove_pid(pid_path));
    EXPECT_FALSE(root.exists(pid_path));
    EXPECT_EQ(-1, remove_pid(pid_path));
    EXPECT_EQ(0, read_pid(pid_path));
    EXPECT_EQ(0, check_pid(pid_path));
}

TEST(PidFile, WritesOverALongerNumberWithoutTruncating) {
    test_root root;
    root.write(pid_path, "1234567890123\n");
    int own = (int)getpid();
    EXPECT_EQ(own, write_pid(pid_path));
    std::string content = root.read(pid_path);
    std::string written = std::to_string(own) + "\n";
    EXPECT_EQ(written, content.substr(0, written.size()));
    EXPECT_EQ(14u, content.size());
    EXPECT_EQ(own, read_pid(pid_path));
}

TEST(PidFile, RefusesWhileAnotherProcessHoldsTheLock) {
    test_root root;
    lock_holder holder(root.path(pid_path));
    ASSERT_TRUE(holder.locked());
    EXPECT_EQ(0, write_pid(pid_path));
    EXPECT_EQ(std::to_string(holder.pid()) + "\n", root.read(pid_path));  // left as it was
    EXPECT_EQ(holder.pid(), read_pid(pid_path));
    EXPECT_EQ(holder.pid(), check_pid(pid_path));  // another live process

    pid_t gone = holder.pid();
    holder.finish();
    EXPECT_EQ(0, check_pid(pid_path));  // no such process any more
    EXPECT_EQ((int)gone, read_pid(pid_path));
    EXPECT_EQ((int)getpid(), write_pid(pid_path));
}

TEST(PidFile, ReportsFilesThatCannotBeOpened) {
    test_root root;
    plat_test_capture_log();
    plat_test_fail_open(pid_path, EACCES);
    EXPECT_EQ(0, write_pid(pid_path));
    EXPECT_TRUE(plat_test_logged("Can't open or create /var/run/vespin_test.pid"));
    EXPECT_EQ(0, write_pid(nullptr));
    EXPECT_TRUE(plat_test_logged("Can't open or create (null)"));
    bool under_pidfile = false;
    for (const plat_log_entry& entry : plat_test_log())
        if (entry.channel == PLAT_LOG_SYSLOG) {
            EXPECT_EQ(3, entry.priority);
            EXPECT_EQ("src/core/pidfile.cpp", entry.file);
            under_pidfile = true;
        }
    EXPECT_TRUE(under_pidfile);
    EXPECT_EQ(0, write_pid("/no/such/dir/x.pid"));
}

TEST(PidFile, ReadsZeroFromAFileWithoutANumber) {
    test_root root;
    root.write(pid_path, "garbage\n");
    EXPECT_EQ(0, read_pid(pid_path));
    EXPECT_EQ(0, check_pid(pid_path));
    root.write(pid_path, "-1\n");
    EXPECT_EQ(-1, read_pid(pid_path));
    EXPECT_EQ(0, check_pid(pid_path));  // not a single process
    EXPECT_EQ(0, read_pid(nullptr));
}
