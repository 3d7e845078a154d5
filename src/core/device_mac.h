// The device MAC text that names per-device UCI sections.
#pragma once

// True for exactly 12 hexadecimal digits (either case) and nothing else.
// Callers refuse anything else before they build a UCI path or a command.
bool is_device_mac_text(const char* text);
