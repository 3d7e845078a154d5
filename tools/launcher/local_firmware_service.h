// The local firmware service of the emulated mesh (sim/firmware-service.py):
// HTTPS on a loopback address with a test CA made at start. Only the roots
// it serves trust that CA; nothing is added to the host's trust store.
#pragma once

#include <sys/types.h>

#include <string>

struct local_firmware_service {
    pid_t pid = -1;
    std::string dir;   // certificates, port file and request log
    std::string url;   // "https://firmware.vespin.test:PORT"
    std::string address;
};

// Starts the service from sim_dir in dir (made if missing) on the address,
// with Debian's python3 (else the python3 of PATH); waits until it listens
// (10 s at most). The service ends with the process that started it. False
// with *problem set.
bool local_firmware_service_start(const std::string& sim_dir, const std::string& dir, const std::string& address,
                                  local_firmware_service* service, std::string* problem);
// Makes an emulated root (its directory) use the service: its CA bundle
// trusts the service's CA, its "/etc/hosts" names the service's host, and
// the UCI option "vespin_cloud.firmware.url" is `url` (the service's own
// when empty). False when a file cannot be written.
bool local_firmware_service_serve(const local_firmware_service& service, const std::string& root,
                                  const std::string& url = "");
// Writes the UCI option "vespin_cloud.firmware.url" of a root.
bool local_firmware_service_set_url(const std::string& root, const std::string& url);
// Stops the service (SIGTERM, then SIGKILL after 2 s) and waits for it.
void local_firmware_service_stop(local_firmware_service* service);
