// The one command runner of the library: shell texts, captured output and
// programs with argument vectors, on the router or inside the emulated root.
#include "platform.h"
#include "hooks.h"

#include "root_fence.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

extern char** environ;

namespace {

const char kJournal[] = "/var/log/commands";

std::string one_line(const std::string& text) {
    std::string line;
    for (char c : text) {
        if (c == '\n') line += "\\n";
        else line += c;
    }
    return line;
}

void journal(plat_command_kind kind, const std::string& text) {
    plat_hooks_state().commands.push_back({kind, text});
    if (!plat_is_emulated()) return;
    int fd = plat_open(kJournal, O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd < 0) return;
    std::string line = one_line(text) + "\n";
    ssize_t ignored = write(fd, line.data(), line.size());
    (void)ignored;
    close(fd);
}

bool scripted(plat_command_kind kind, const std::string& text, plat_command_reply* reply) {
    auto& script = plat_hooks_state().command_script;
    return script && script({kind, text}, reply);
}

int scripted_wait_status(const plat_command_reply& reply) {
    return reply.signal ? (reply.signal & 0x7f) : ((reply.exit_code & 0xff) << 8);
}

// Bounded copy of scripted output, in the shape of a pipe read.
int copy_scripted_output(const plat_command_reply& reply, char* out, size_t size) {
    if (!out || size == 0) return 0;
    memset(out, 0, size);
    size_t n = reply.output.size() < size - 1 ? reply.output.size() : size - 1;
    memcpy(out, reply.output.data(), n);
    return (int)n;
}

bool is_path_boundary(char c) {
    return c == ' ' || c == '\t' || c == '\n' || strchr("'\"=<>|;&(`", c) != nullptr;
}

// The first names of absolute paths that are moved into the root: the root's
// own top-level entries, and the usual ones of a router's file system, so
// that a path under a directory the root lacks fails inside the root instead
// of reaching the host. Any other text that starts with '/' (an awk pattern
// such as /^0.0.0.0/) is left alone.
std::set<std::string> root_top_names(const std::string& root) {
    std::set<std::string> names = {"bin", "boot", "data", "etc",  "flash", "home", "lib", "lib64",
                                   "mnt", "opt",  "overlay", "proc", "rom", "root", "run", "sbin",
                                   "srv", "sys",  "tmp", "usr",  "var", "vespin", "www"};
    if (DIR* dir = opendir(root.c_str())) {
        while (struct dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.') names.insert(entry->d_name);
        closedir(dir);
    }
    return names;
}

// The router path a command text names, as the runner moves it: normalised
// into the root, except the host's devices ("/dev/null") which stay.
std::string moved_path(const std::string& path) {
    std::string normal = plat_normal_path(path);
    if (normal.compare(0, 5, "/dev/") == 0) return normal;
    return plat_path(normal.c_str());
}

// Moves every absolute path of a command text into the root: a word, a
// quoted text or a redirection target that starts with '/' and whose first
// name is a top-level name of the root, "." or ".." (or that is "/" alone,
// or starts with "//"). ".." in such a path never leads out of the root.
std::string move_paths_into_root(const std::string& text, const std::string& root) {
    std::set<std::string> top_names = root_top_names(root);
    std::string moved;
    size_t i = 0;
    while (i < text.size()) {
        bool starts_word = text[i] == '/' && (i == 0 || is_path_boundary(text[i - 1]));
        if (!starts_word) {
            moved += text[i++];
            continue;
        }
        size_t end = i;
        while (end < text.size() && !is_path_boundary(text[end])) end++;
        std::string word = text.substr(i, end - i);
        std::string first = word.substr(1, word.find('/', 1) - 1);
        bool is_path = first.empty() || first == "." || first == ".." || top_names.count(first);
        moved += is_path ? moved_path(word) : word;
        i = end;
    }
    return moved;
}

std::string single_quoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'') quoted += "'\\''";
        else quoted += c;
    }
    return quoted + "'";
}

// Everything a child needs, prepared before fork so that the child only
// calls async-signal-safe functions.
struct child_program {
    std::string path;
    std::vector<std::string> args;
    std::vector<std::string> env;
    bool search_path = false;  // router: execvp
    int fence = -1;            // emulated: the root fence's ruleset (root_fence.h)
    // The parent's copy of the ruleset goes once the child has it, or when
    // no child is started.
    void close_fence() {
        if (fence >= 0) close(fence);
        fence = -1;
    }
    std::vector<char*> argv() {
        std::vector<char*> v;
        for (auto& a : args) v.push_back(&a[0]);
        v.push_back(nullptr);
        return v;
    }
    std::vector<char*> envp() {
        std::vector<char*> v;
        for (auto& e : env) v.push_back(&e[0]);
        v.push_back(nullptr);
        return v;
    }
};

std::vector<std::string> emulated_environment() {
    std::vector<std::string> env;
    const char* replaced[] = {"PATH=", "VESPIN_ROOT=", "TMPDIR=", "HOME="};
    for (char** e = environ; *e; e++) {
        bool keep = true;
        for (const char* name : replaced) keep = keep && strncmp(*e, name, strlen(name)) != 0;
        if (keep) env.push_back(*e);
    }
    env.push_back("PATH=" + plat_root() + "/bin");
    env.push_back("VESPIN_ROOT=" + plat_root());
    env.push_back("TMPDIR=" + plat_root() + "/tmp");  // here-documents and sort's spill files
    env.push_back("HOME=" + plat_root());             // a bare "cd" stays in the root
    return env;
}

child_program shell_program(const char* command) {
    child_program p;
    if (!plat_is_emulated()) {
        p.path = "/bin/sh";
        p.args = {"sh", "-c", command};
        for (char** e = environ; *e; e++) p.env.push_back(*e);
        return p;
    }
    const std::string& root = plat_root();
    // Without "enable" itself, "enable kill" cannot bring the shell's kill back.
    std::string script = "enable -n kill\nenable -n enable\nPATH=" + single_quoted(root + "/bin") +
                         "; export PATH\ncd " + single_quoted(root) + " || exit 127\n" +
                         move_paths_into_root(command, root) + "\n";
    p.path = "/bin/bash";
    p.args = {"bash", "--norc", "--noprofile", "-c", script};
    p.env = emulated_environment();
    p.fence = root_fence_open(root);
    return p;
}

// Forks and execs; the child's standard output goes to stdout_fd when it is
// not -1. Returns the pid or -1.
pid_t start_child(child_program& program, int stdout_fd, int close_fd) {
    std::vector<char*> argv = program.argv();
    std::vector<char*> envp = program.envp();
    pid_t pid = fork();
    if (pid != 0) {
        program.close_fence();
        return pid;
    }
    if (program.fence >= 0 && !root_fence_enter(program.fence)) _exit(126);
    if (stdout_fd >= 0) {
        dup2(stdout_fd, STDOUT_FILENO);
        close(stdout_fd);
    }
    if (close_fd >= 0) close(close_fd);
    signal(SIGPIPE, SIG_DFL);
    if (program.search_path) {
        environ = envp.data();
        execvp(program.path.c_str(), argv.data());
    } else {
        execve(program.path.c_str(), argv.data(), envp.data());
    }
    _exit(errno);
}

int wait_child(pid_t pid, int* status) {
    for (;;) {
        if (waitpid(pid, status, 0) >= 0) return 0;
        if (errno != EINTR) return -1;
    }
}

// Reads a pipe into out (at most size - 1 bytes, NUL-terminated). Returns the
// bytes read, or -1 on a read error other than EINTR.
int read_bounded(int fd, char* out, size_t size, bool* failed) {
    if (!out || size == 0) return 0;
    memset(out, 0, size);
    size_t held = 0;
    *failed = false;
    while (held < size - 1) {
        ssize_t n = read(fd, out + held, size - 1 - held);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            *failed = true;
            break;
        }
        if (n == 0) break;
        held += (size_t)n;
    }
    return (int)held;
}

int capture(child_program& program, char* out, size_t size, int* wait_status, bool* read_failed,
            int* start_error) {
    int fds[2];
    *start_error = 0;
    if (pipe2(fds, O_CLOEXEC) != 0) {
        program.close_fence();
        *start_error = -3;
        return -1;
    }
    pid_t pid = start_child(program, fds[1], fds[0]);
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        *start_error = -1;
        return -1;
    }
    close(fds[1]);
    int n = read_bounded(fds[0], out, size, read_failed);
    close(fds[0]);
    int status = 0;
    if (wait_child(pid, &status) != 0) status = -1;
    if (wait_status) *wait_status = status;
    return n;
}

}  // namespace

int plat_system(const char* command) {
    if (!command || plat_fault_due(PLAT_FAULT_COMMAND)) return -1;
    journal(PLAT_CMD_SYSTEM, command);
    plat_command_reply reply;
    if (scripted(PLAT_CMD_SYSTEM, command, &reply)) return scripted_wait_status(reply);
    child_program program = shell_program(command);
    pid_t pid = start_child(program, -1, -1);
    if (pid < 0) return -1;
    int status = 0;
    if (wait_child(pid, &status) != 0) return -1;
    return status;
}

int plat_run_capture(const char* command, char* out, size_t size, int* wait_status) {
    if (!command || plat_fault_due(PLAT_FAULT_COMMAND)) {
        errno = command ? EAGAIN : EINVAL;
        return -1;
    }
    journal(PLAT_CMD_CAPTURE, command);
    plat_command_reply reply;
    if (scripted(PLAT_CMD_CAPTURE, command, &reply)) {
        if (wait_status) *wait_status = scripted_wait_status(reply);
        return copy_scripted_output(reply, out, size);
    }
    child_program program = shell_program(command);
    bool read_failed = false;
    int start_error = 0;
    int n = capture(program, out, size, wait_status, &read_failed, &start_error);
    if (start_error || read_failed) return -1;
    return n;
}

int plat_spawn_capture(const char* program, char* const argv[], int* status, char* out, size_t size) {
    if (!program || !argv) {
        errno = EINVAL;
        return -1;
    }
    if (plat_fault_due(PLAT_FAULT_COMMAND)) {
        errno = EAGAIN;
        return -1;
    }
    child_program child;
    std::string joined;
    for (char* const* a = argv; *a; a++) {
        child.args.push_back(*a);
        joined += (joined.empty() ? "" : " ") + std::string(*a);
    }
    journal(PLAT_CMD_SPAWN, joined);
    plat_command_reply reply;
    if (scripted(PLAT_CMD_SPAWN, joined, &reply)) {
        copy_scripted_output(reply, out, size);
        if (status) *status = reply.signal ? -reply.signal : reply.exit_code;
        return 0;
    }
    if (plat_is_emulated()) {
        // "./prog" and "/bin/prog" are looked up in the root, as the shell's working directory is its top.
        child.path = strchr(program, '/') ? plat_path(program) : plat_root() + "/bin/" + program;
        child.env = emulated_environment();
        child.fence = root_fence_open(plat_root());
    } else {
        child.path = program;
        child.search_path = true;
        for (char** e = environ; *e; e++) child.env.push_back(*e);
    }
    bool read_failed = false;
    int start_error = 0;
    int wait_status = 0;
    capture(child, out, size, &wait_status, &read_failed, &start_error);
    if (start_error) return start_error;
    if (status) {
        if (WIFEXITED(wait_status)) *status = WEXITSTATUS(wait_status);
        else if (WIFSIGNALED(wait_status)) *status = -WTERMSIG(wait_status);
    }
    return read_failed ? -2 : 0;
}

std::string plat_command_journal_path() { return plat_path(kJournal); }
