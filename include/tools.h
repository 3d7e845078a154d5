/* Small tools every area uses: a growable text buffer, string helpers, a
 * 32-bit bit map, time/MAC/IPv4 formatting, running a shell command, making
 * directories, probing files and interfaces, and the DHCP server's lease list.
 * Only vespin_current_time keeps state (one static buffer). */
#ifndef VESPIN_TOOLS_H
#define VESPIN_TOOLS_H

#include <stddef.h>
#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- growable buffer ---------------------------------------------------- */

/* A text buffer that doubles its capacity until appended bytes fit. `data`
 * always holds capacity + 1 bytes and is NUL-terminated at `length`. */
typedef struct Buffer {
    char *data;       /* owned by the buffer */
    int32_t capacity; /* usable bytes, not counting the terminator */
    int32_t length;   /* bytes of content */
} Buffer;

/* New zero-filled buffer of `capacity` usable bytes; NULL when the capacity,
 * taken as signed after multiplying by 4, is below 1 (so 0, negative and
 * overflowing values fail) or when memory runs out. Free with buffer_destroy. */
VESPIN_API Buffer *buffer_new(unsigned int capacity);
/* Appends `count` bytes (0: strlen(bytes)) and re-terminates the content.
 * Grows to capacity x 2, x 4 ... until they fit. Never reports failure: an
 * append that would push the length past INT32_MAX, or whose new block cannot
 * be allocated, is dropped and the buffer stays as it was. */
VESPIN_API void buffer_nappend(Buffer *buffer, const char *bytes, size_t count);
/* buffer_nappend of a NUL-terminated text. */
VESPIN_API void buffer_append(Buffer *buffer, const char *text);
/* The buffer's data pointer, still owned by the buffer. */
VESPIN_API char *buffer_get_content(Buffer *buffer);
/* Frees the data, then the record; NULL is ignored. */
VESPIN_API void buffer_destroy(Buffer *buffer);
/* Download sink shaped as a libcurl write callback (`buffer` is a Buffer*):
 * appends size x count bytes and returns size x count. A zero total appends
 * nothing (buffer_nappend would take it as "measure with strlen"). */
VESPIN_API size_t write_buffer(char *bytes, size_t size, size_t count, void *buffer);

/* ---- strings (results are new allocations owned by the caller) ---------- */

/* Copies source less leading and trailing tab, line feed and space into
 * destination (room for strlen(source) + 1), returns the copied length.
 * Carriage returns are kept; a source made only of whitespace trims to its
 * last character (length 1); "" gives "" and 0. */
VESPIN_API int trim(const char *source, char *destination);
/* trim with the arguments the other way round. */
VESPIN_API int trim_cpy(char *destination, const char *source);
/* Splits text at every occurrence of the delimiter substring, at most
 * max_splits times (0: unlimited); the rest of the text is the last piece.
 * Empty pieces are kept. Returns a NULL-terminated array; free each element,
 * then the array. NULL for a NULL text, an empty or NULL delimiter (it would
 * match everywhere), a negative maximum or when memory runs out. */
VESPIN_API char **string_split(const char *text, const char *delimiter, int max_splits);
/* Joins the first `count` elements (0, or a count past the NULL terminator:
 * all of them) with the separator (NULL: "") between them. An empty array
 * gives a new "".
 * NULL for a NULL array, a negative count or when memory runs out. */
VESPIN_API char *string_join(char **array, const char *separator, int count);
/* Replaces every `character` in text by `replacement` ("" deletes it) into a
 * new text stored to *out; returns its length. An empty or NULL text returns
 * 0 and leaves *out untouched; -1 (and *out untouched) when the result would
 * be longer than INT32_MAX or memory runs out. */
VESPIN_API int escape_char(const char *text, char **out, char character, const char *replacement);
/* 1 when an element of the NULL-terminated array equals text (case-sensitive), else 0. */
VESPIN_API int strings_contains(char **array, const char *text);
/* Lower-cases text in place (C locale table); NULL is ignored. */
VESPIN_API void str_tolower(char *text);

/* ---- 32-bit bit map ----------------------------------------------------- */

/* Bit i is 1 << (i & 31). */
VESPIN_API void init_bit_map(uint32_t *map);
VESPIN_API void clear_bit_map(uint32_t *map);
VESPIN_API void set_bit_map_bit(uint32_t *map, int bit);
VESPIN_API void clear_bit_map_bit(uint32_t *map, int bit);
/* 1 when bit `bit & 31` is set, else 0. The masked word is tested as a signed
 * number greater than zero, so bit 31 always reads 0. */
VESPIN_API int get_bit_map_bit(uint32_t map, int bit);
/* The highest bit that get_bit_map_bit reports set, scanning down from 31;
 * never 31. A map whose bits 0..30 are all clear would be scanned round and
 * round forever; it returns -1 instead. */
VESPIN_API int get_bit_map_first_setting(uint32_t map);
/* The lowest bit that get_bit_map_bit reports clear, scanning up from 0; an
 * all-ones map gives 31. */
VESPIN_API int get_bit_map_first_zero(uint32_t map);

/* ---- formatting and system ---------------------------------------------- */

/* Now in UTC as "YYYY-MM-DD HH:MM:SS.mmm" (milliseconds truncated), in one
 * static buffer overwritten by the next call; not thread-safe. */
VESPIN_API char *vespin_current_time(void);
/* Writes the 6 MAC bytes as 12 lower-case hex digits (out: 13 bytes); returns 0. */
VESPIN_API int system_mac_to_string(const unsigned char *mac, char *out);
/* Writes an IPv4 address (network byte order) as a dotted quad (out: 16 bytes); returns 0. */
VESPIN_API int ip_int_to_string(uint32_t address, char *out);
/* Runs a command through the shell. A wait status showing a signal (which
 * includes a shell that could not be started) logs "Child process error" and
 * returns 600013 with *exit_status untouched; otherwise stores the exit code
 * and returns 0. A NULL command returns 600013 too (it would only probe for a shell). */
VESPIN_API int run_command(int *exit_status, const char *command);
/* Makes a directory and its parents ("mkdir -p '<path>'"): 0, or 600001 on any
 * failure. Refuses with 600001, running nothing, a NULL path, a path holding a
 * single quote (it would end the quoting) or one too long for the 256-byte command. */
VESPIN_API int mkrdir(const char *path);
/* 1 when the path exists, else 0. */
VESPIN_API int is_file_exist(const char *path);

/* Kinds of get_interface_addr. */
#define VESPIN_IF_ADDR 0
#define VESPIN_IF_DSTADDR 1
#define VESPIN_IF_NETMASK 2
#define VESPIN_IF_HWADDR 4

/* Reads one property of a network interface into out: 4 bytes of IPv4
 * address (network order) for kinds 0 (address), 1 (peer), 2 (netmask); the
 * 16-byte socket address (2-byte family, then the MAC) for kind 4. Returns -1
 * when the interface does not exist (or a name does not fit 16 bytes), else 0
 * even when the property itself could not be read: out is then left as it
 * was, so callers that need certainty pre-fill it. Other kinds store nothing. */
VESPIN_API int get_interface_addr(const char *name, int kind, void *out);
/* Placeholder: does nothing, returns 0. */
VESPIN_API int download_file(void);
/* Placeholder: does nothing, returns 0. */
VESPIN_API int mesh_device_update(void);

/* One entry of get_dhcp_client_list, 64 bytes. */
typedef struct dhcp_lease_entry {
    char ip[20];      /* dotted quad, NUL-terminated */
    char mac[20];     /* twelve lower-case hex digits, NUL-terminated */
    char unused[20];  /* left zero */
    uint32_t expires; /* copied unchanged from the lease record */
} dhcp_lease_entry;

/* Asks the DHCP server to write its leases ("kill -SIGUSR1 <pid>" with the
 * pid from "/var/run/udhcpd.pid", or 2 when that file is missing and 5 when
 * it cannot be read: those two fallbacks are deliberate), waits 1 ms, and
 * lists the records of
 * "/var/lib/misc/udhcpd.leases" whose expiry is not 0. *list gets a new array
 * (caller frees) and *count its entries. Returns plain error numbers: 0, 2
 * (lease file missing), 5 (cannot be opened), 12 (out of memory), 22 (a
 * NULL out pointer; nothing is run). Safe path: a pid file holding a number
 * below 2 (1 would be init; 0 and negative numbers name process groups)
 * signals nothing and skips the pause, as 0 does; every number from 2 up is
 * signalled as it stands. */
VESPIN_API int get_dhcp_client_list(dhcp_lease_entry **list, int *count);

#ifdef __cplusplus
}
#endif

#endif
