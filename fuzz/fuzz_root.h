// The emulated root every fuzz target runs in, so that no input reaches the
// host (no syslog, no file outside the root, no real command), and the quiet,
// fast settings of one run.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

// Makes the root once per process (a fresh /dev/shm/vespin-fuzz-XXXXXX, or
// /tmp/vespin-fuzz-XXXXXX without /dev/shm, holding the router's
// directories), selects it with VESPIN_ROOT and returns its directory. It
// is removed when the process exits, or by fuzz_root_remove.
const std::string& fuzz_root();
void fuzz_root_remove();

// Replaces the file at a router path inside the root.
void fuzz_write(const char* router_path, const uint8_t* data, size_t size);

// One run of a target: the log is captured (and dropped at the end), every
// command is answered in-process with exit 0 and `command_output` as its
// output, files are replaced without fsync, and the clock is a fake one (a
// sleep only advances it). Everything is restored when the run ends.
class fuzz_run {
  public:
    explicit fuzz_run(std::string command_output = "");
    ~fuzz_run();
    fuzz_run(const fuzz_run&) = delete;
    fuzz_run& operator=(const fuzz_run&) = delete;
};

// Splits an input into at most `most` pieces at 0xff bytes (the last piece
// keeps the rest, separators included).
std::vector<std::string> fuzz_pieces(const uint8_t* data, size_t size, size_t most);
