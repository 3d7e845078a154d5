#include "firmware_service.h"

#include "test_root.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

const char* python3() { return access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3"; }

std::string script() { return std::string(VESPIN_SOURCE_DIR) + "/sim/firmware-service.py"; }

// The service logs bodies as code points 0-255 (json-c gives them as UTF-8):
// back to the bytes received.
std::string latin1_bytes(const std::string& utf8) {
    std::string bytes;
    for (size_t i = 0; i < utf8.size(); i++) {
        unsigned char c = (unsigned char)utf8[i];
        if (c >= 0xc0 && i + 1 < utf8.size()) {
            bytes += (char)(((c & 0x03) << 6) | ((unsigned char)utf8[++i] & 0x3f));
        } else {
            bytes += (char)c;
        }
    }
    return bytes;
}

}  // namespace

firmware_service& firmware_service::shared() {
    static firmware_service service;
    return service;
}

firmware_service::firmware_service() {
    char pattern[] = "/tmp/vespin-firmware-XXXXXX";
    if (!mkdtemp(pattern)) {
        ADD_FAILURE() << "cannot make the service's directory";
        return;
    }
    dir_ = pattern;
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);  // a crashed test leaves no service behind
        execlp(python3(), python3(), script().c_str(), dir_.c_str(), "--address", "127.0.0.1", (char*)nullptr);
        _exit(127);
    }
    for (int tries = 0; tries < 300 && port_ == 0; tries++) {
        port_ = atoi(read_file(dir_ + "/port").c_str());
        if (port_ == 0) {
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                break;
            }
            usleep(50 * 1000);
        }
    }
    if (port_ == 0) ADD_FAILURE() << "the firmware service did not start (" << script() << ")";
}

firmware_service::~firmware_service() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    std::error_code ignored;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ignored);
}

std::string firmware_service::url(const std::string& steps, const std::string& host) const {
    return "https://" + host + ":" + std::to_string(port_) + steps;
}

void firmware_service::serve(const test_root& root, const std::string& steps) const {
    const char bundle[] = "/etc/ssl/certs/ca-certificates.crt";
    root.write(bundle, root.read(bundle) + read_file(dir_ + "/ca.pem"));
    root.write("/etc/hosts", root.read("/etc/hosts") + "127.0.0.1\tfirmware.vespin.test wrong.vespin.test\n");
    set_url(root, url(steps));
}

void firmware_service::set_url(const test_root& root, const std::string& url) {
    root.write("/etc/config/vespin_cloud", "\nconfig firmware 'firmware'\n\toption url '" + url + "'\n\n");
}

void firmware_service::write_answer(const std::string& name, const std::string& content) const {
    std::ofstream(dir_ + "/answers/" + name, std::ios::binary) << content;
}

std::vector<firmware_service_request> firmware_service::requests() const {
    std::vector<firmware_service_request> found;
    std::istringstream lines(read_file(dir_ + "/requests.log"));
    std::string line;
    while (std::getline(lines, line)) {
        json_object* entry = json_tokener_parse(line.c_str());
        json_object *method, *path, *body, *headers;
        if (entry && json_object_object_get_ex(entry, "method", &method) &&
            json_object_object_get_ex(entry, "path", &path) && json_object_object_get_ex(entry, "body", &body) &&
            json_object_object_get_ex(entry, "headers", &headers)) {
            firmware_service_request request;
            request.method = json_object_get_string(method);
            request.path = json_object_get_string(path);
            request.body = latin1_bytes(json_object_get_string(body));
            for (size_t i = 0; i < json_object_array_length(headers); i++) {
                json_object* pair = json_object_array_get_idx(headers, i);
                request.headers.emplace_back(json_object_get_string(json_object_array_get_idx(pair, 0)),
                                             json_object_get_string(json_object_array_get_idx(pair, 1)));
            }
            found.push_back(request);
        }
        json_object_put(entry);
    }
    return found;
}

void firmware_service::clear_requests() const { std::ofstream(dir_ + "/requests.log", std::ios::trunc); }

std::string firmware_service::other_ca() const {
    std::string other = dir_ + "/other";
    std::string command = std::string(python3()) + " '" + script() + "' '" + other + "' --certs-only";
    if (system(command.c_str()) != 0) ADD_FAILURE() << "cannot make another CA: " << command;
    return read_file(other + "/ca.pem");
}
