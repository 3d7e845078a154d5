// The check every PPPoE text from outside passes, inside the library.
#pragma once

#include <json-c/json.h>
#include <stddef.h>

// True when the `length` bytes are all printable ASCII (0x20-0x7E): a PPPoE
// account or password is data that no setting file or line may take apart.
bool pppoe_text_printable(const char* text, size_t length);
// The same check of a JSON string (a NUL inside it fails too).
bool pppoe_password_acceptable(json_object* value);
