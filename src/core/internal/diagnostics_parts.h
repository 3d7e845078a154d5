// The pieces of the network diagnostics shared by their sources, and the
// parsers of tool output (each has a fuzz target).
#pragma once

#include <stdint.h>

// The IPv4 address (network order) of a host: dotted text as it is, any
// other text through the resolver. False when it cannot be resolved.
bool diagnostics_resolve_ipv4(const char* host, uint32_t* address);

// True for a text that may stand in a command line as a host: 1 to 255
// letters, digits, '.', '-' and ':', not starting with '-' (an option).
bool diagnostics_valid_host(const char* host);

// The average round-trip time of ping's output: the fifth piece when the
// whole output is split at '/', read as a number and truncated to whole
// milliseconds. False when there is no such piece or it is not a number in
// the range of a 32-bit unsigned value.
bool ping_summary_average_ms(const char* output, uint32_t* ms);

// Reads the speed test's output, "code:%d\nup:%d\ndown:%d\nloss_rate:%d\n
// min:%d\nmax:%d\navg:%d\njitter:%d", as scanf would (a whitespace directive
// matches any run of whitespace, none included), into values[0..7] in that
// order; numbers beyond the 32-bit range are clamped. Returns how many
// values were read (the first ones), 0 when none.
int speedtest_output_parse(const char* output, int32_t values[8]);
