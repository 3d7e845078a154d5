#include "firmware_service.h"

#include "test_root.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <stdlib.h>

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
    std::string problem;
    if (!local_firmware_service_start(std::string(VESPIN_SOURCE_DIR) + "/sim", pattern, "127.0.0.1", &service_,
                                      &problem)) {
        ADD_FAILURE() << "the firmware service did not start: " << problem;
        return;
    }
    port_ = atoi(service_.url.substr(service_.url.rfind(':') + 1).c_str());
}

firmware_service::~firmware_service() {
    local_firmware_service_stop(&service_);
    std::error_code ignored;
    if (!service_.dir.empty()) std::filesystem::remove_all(service_.dir, ignored);
}

std::string firmware_service::url(const std::string& steps, const std::string& host) const {
    return "https://" + host + ":" + std::to_string(port_) + steps;
}

void firmware_service::serve(const test_root& root, const std::string& steps) const {
    if (!local_firmware_service_serve(service_, root.dir(), url(steps))) ADD_FAILURE() << "cannot serve " << root.dir();
    root.write("/etc/hosts", root.read("/etc/hosts") + "127.0.0.1\twrong.vespin.test\n");
}

void firmware_service::set_url(const test_root& root, const std::string& url) {
    local_firmware_service_set_url(root.dir(), url);
}

void firmware_service::write_answer(const std::string& name, const std::string& content) const {
    std::ofstream(dir() + "/answers/" + name, std::ios::binary) << content;
}

std::vector<firmware_service_request> firmware_service::requests() const {
    std::vector<firmware_service_request> found;
    std::istringstream lines(read_file(dir() + "/requests.log"));
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

void firmware_service::clear_requests() const { std::ofstream(dir() + "/requests.log", std::ios::trunc); }

std::string firmware_service::other_ca() const {
    std::string other = dir() + "/other";
    std::string command = "python3 '" + std::string(VESPIN_SOURCE_DIR) + "/sim/firmware-service.py' '" + other +
                          "' --certs-only";
    if (system(command.c_str()) != 0) ADD_FAILURE() << "cannot make another CA: " << command;
    return read_file(other + "/ca.pem");
}
