// The check every PPPoE password from a client passes, inside the library.
#pragma once

#include <json-c/json.h>

// True when the JSON string holds only printable ASCII (0x20-0x7E) and no
// NUL: a password is data that no setting or file may take apart.
bool pppoe_password_acceptable(json_object* value);
