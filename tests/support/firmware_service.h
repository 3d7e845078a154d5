// The local firmware service (sim/firmware-service.py) for the tests of one
// process: HTTPS on 127.0.0.1 and a port of the kernel's choice, with a test
// CA and certificate made by the openssl tool in a temporary directory.
// Started at the first use, stopped and removed when the process exits.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "local_firmware_service.h"

class test_root;

// One request as the service received it.
struct firmware_service_request {
    std::string method, path, body;
    std::vector<std::pair<std::string, std::string>> headers;  // in arrival order
};

class firmware_service {
  public:
    // The process's service, started when first asked for (a failure to
    // start it is reported as a test failure and leaves port() 0).
    static firmware_service& shared();

    int port() const { return port_; }
    const std::string& dir() const { return service_.dir; }
    // "https://firmware.vespin.test:PORT" followed by steps ("/redirect-301").
    std::string url(const std::string& steps = "", const std::string& host = "firmware.vespin.test") const;
    // Makes a root use the service: its CA bundle trusts the service's CA,
    // its "/etc/hosts" names "firmware.vespin.test" and "wrong.vespin.test"
    // (not in the certificate) at 127.0.0.1, and "vespin_cloud.firmware.url"
    // is url(steps).
    void serve(const test_root& root, const std::string& steps = "") const;
    // Writes the UCI option "vespin_cloud.firmware.url" of a root.
    static void set_url(const test_root& root, const std::string& url);
    // A file served verbatim by the step "/answer-NAME".
    void write_answer(const std::string& name, const std::string& content) const;
    // The requests received since the last clear_requests.
    std::vector<firmware_service_request> requests() const;
    void clear_requests() const;
    // The PEM text of a CA made apart from the service's (one it never used).
    std::string other_ca() const;

    ~firmware_service();

  private:
    firmware_service();
    local_firmware_service service_;
    int port_ = 0;
};
