// Options of the per-device sections of the UCI package "devices".
#pragma once

#include <string>

struct uci_context;

// "devices.<mac>.<option>" into *value: true when it exists. A MAC text that
// could change the path (anything but letters, digits and '_') finds nothing.
bool device_option(uci_context* ctx, const char* mac_text, const char* option, std::string* value);
