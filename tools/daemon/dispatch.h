// Answers one request text with one response text: parses the request, finds
// its method in the method table and runs it. Both servers of the daemon
// (nng and datagrams) call it from their own threads; calls are serialised.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <mutex>
#include <string>

// The response text for a request text of `length` bytes (need not be
// NUL-terminated; it ends at the first NUL; 0 bytes, text NULL or not, read
// as ""). Every input gets exactly one response: malformed text, a missing
// method, an unknown method and bad params are answered with an error. The
// response is valid UTF-8 whatever the request held (invalid sequences echoed
// from it become U+FFFD). Malformed requests are logged at most 10 times a
// minute. *post receives the response's after-reply action, 0 when there is none.
std::string node_dispatch(const char* text, size_t length, uintptr_t* post);

// Runs an after-reply action that node_dispatch left; 0 does nothing.
void node_run_post(uintptr_t post);

// The lock that keeps the library's calls on one thread at a time. Methods
// run under it; after-reply actions take it themselves.
std::mutex& node_library_lock();
