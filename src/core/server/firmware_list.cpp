// Asking the firmware service which firmware is available for a set of mesh
// nodes: one HTTPS POST, retried once on time-outs and failed look-ups.
#include "server.h"

#include "core/log.h"
#include "core/server/service_json.h"
#include "core/uci_ref.h"
#include "core/uci_ref.h"
#include "platform.h"
#include "tools.h"

#include <curl/curl.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

namespace {

const char kUrlOption[] = "vespin_cloud.firmware.url";
const char kCaBundle[] = "/etc/ssl/certs/ca-certificates.crt";
const char kApiVersion[] = "v4";
const long kTransferTimeoutSeconds = 60;
const long kConnectTimeoutSeconds = 5;
const long kMaxRedirects = 10;
// Safe path: an answer longer than this is not read (a firmware list for a
// mesh is a few KB); the transfer stops with CURLE_WRITE_ERROR.
const int32_t kMaxAnswerBytes = 1 << 20;
const int kLoggedAnswerBytes = 1024;  // of an answer quoted in a message

struct session_free {
    void operator()(CURL* session) const { curl_easy_cleanup(session); }
};
struct headers_free {
    void operator()(curl_slist* headers) const { curl_slist_free_all(headers); }
};
struct buffer_free {
    void operator()(Buffer* buffer) const { buffer_destroy(buffer); }
};

// The service's base URL: the UCI option, else the build's default.
std::string service_base_url() {
    uci_ref ctx;
    std::string url;
    if (ctx.ok() && uci_ctx_find(ctx.get(), kUrlOption, &url, nullptr) == 0 && !url.empty()) return url;
    return VESPIN_FIRMWARE_URL;
}

// {"method": "firmware.get", "params": {"sns": [...]}} in json-c's default form.
std::string request_body(const mesh_node* nodes, int n) {
    json_ref body(json_object_new_object());
    json_object* params = json_object_new_object();
    json_object* sns = json_object_new_array();
    for (int i = 0; i < n; i++) {
        int length = (int)strnlen(nodes[i].sn, MESH_NODE_SN_SIZE);
        json_object_array_add(sns, json_object_new_string_len(nodes[i].sn, length));
    }
    json_object_object_add(params, "sns", sns);
    json_object_object_add(body.get(), "method", json_object_new_string("firmware.get"));
    json_object_object_add(body.get(), "params", params);
    return json_object_to_json_string(body.get());
}

size_t write_bounded(char* bytes, size_t size, size_t count, void* answer) {
    Buffer* buffer = static_cast<Buffer*>(answer);
    if (count != 0 && size > (size_t)(kMaxAnswerBytes - buffer->length) / count) {
        VLOG_ERROR("Answer from server longer than %d bytes", (int)kMaxAnswerBytes);
        return 0;
    }
    return write_buffer(bytes, size, count, answer);
}

// Performs the session, once more after a time-out or a failed look-up.
int perform_with_retry(CURL* session, const std::string& url, Buffer* answer) {
    for (int retries = 0;; retries++) {
        answer->length = 0;  // a failed attempt may have left part of an answer
        answer->data[0] = '\0';
        int result = plat_http_perform(session, url.c_str());
        if (result == CURLE_OK) return 0;
        if (result == CURLE_OPERATION_TIMEDOUT || result == CURLE_COULDNT_RESOLVE_HOST ||
            result == CURLE_COULDNT_RESOLVE_PROXY) {
            VLOG_ERROR("HTTP request timeout: %d", result);
            if (retries == 0) {
                VLOG_ERROR("HTTP request retry: %d", 1);
                continue;
            }
        }
        VLOG_ERROR("HTTP request failed: %d", result);
        return VESPIN_ERR_HTTP_PERFORM;
    }
}

void free_records(remote_firmware* records, size_t count) {
    for (size_t i = 0; i < count; i++) free(records[i].changelog);
    free(records);
}

// The answer as records. The array grows as records are filled, so that an
// answer of many invalid elements costs no more than its first one.
int read_answer(const Buffer* answer, remote_firmware** list, int* count) {
    json_ref document = service_json_parse(answer->data, (size_t)answer->length);
    if (!document) {
        VLOG_ERROR("Broken json from server: `%.*s`", kLoggedAnswerBytes, answer->data);
        return VESPIN_ERR_INVALID_JSON;
    }
    if (!json_object_is_type(document.get(), json_type_array)) {
        VLOG_ERROR("Invalid json from server: `%.*s`", kLoggedAnswerBytes, answer->data);
        return VESPIN_ERR_INVALID_JSON;
    }
    size_t total = json_object_array_length(document.get());
    remote_firmware* records = nullptr;
    size_t capacity = 0;
    for (size_t i = 0; i < total; i++) {
        if (i == capacity) {
            size_t grown = capacity ? capacity * 2 : 4;
            if (grown > total) grown = total;
            auto* bigger = static_cast<remote_firmware*>(plat_realloc(records, grown * sizeof *records));
            if (!bigger) {
                free_records(records, i);
                return VESPIN_ERR_NO_MEMORY;
            }
            memset(bigger + capacity, 0, (grown - capacity) * sizeof *records);
            records = bigger;
            capacity = grown;
        }
        int result = remote_firmware_load_from_json_object(&records[i], json_object_array_get_idx(document.get(), i));
        if (result != 0) {
            VLOG_ERROR("Invalid json from server");
            free_records(records, i + 1);
            return result;
        }
    }
    *list = records;
    *count = (int)total;
    return 0;
}

}  // namespace

extern "C" {

int remote_firmware_list(remote_firmware** list, int* count, const mesh_node* nodes, int n) {
    if (!list || !count || (!nodes && n > 0)) return VESPIN_ERR_FAILURE;
    *list = nullptr;
    *count = 0;
    std::unique_ptr<CURL, session_free> session(curl_easy_init());
    if (!session) {
        VLOG_ERROR("Fail to init session");
        return VESPIN_ERR_NO_MEMORY;
    }
    std::string body = request_body(nodes, n);
    std::unique_ptr<Buffer, buffer_free> answer(buffer_new(1024));
    std::unique_ptr<curl_slist, headers_free> headers(curl_slist_append(nullptr, "Content-Type: application/json"));
    if (!answer || !headers) return VESPIN_ERR_NO_MEMORY;
    std::string url = service_base_url() + "/" + kApiVersion + "/version";
    std::string ca_bundle = plat_path(kCaBundle);

    CURL* s = session.get();
    curl_easy_setopt(s, CURLOPT_URL, url.c_str());
    curl_easy_setopt(s, CURLOPT_CAINFO, ca_bundle.c_str());
    curl_easy_setopt(s, CURLOPT_CAPATH, nullptr);  // the bundle only, never the host's certificate directory
    curl_easy_setopt(s, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(s, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(s, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(s, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(s, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(s, CURLOPT_MAXREDIRS, kMaxRedirects);
    curl_easy_setopt(s, CURLOPT_POSTREDIR, (long)CURL_REDIR_POST_ALL);  // 301, 302 and 303 stay POST
    curl_easy_setopt(s, CURLOPT_POST, 1L);
    curl_easy_setopt(s, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(s, CURLOPT_POSTFIELDSIZE, (long)body.size());
    curl_easy_setopt(s, CURLOPT_WRITEFUNCTION, write_bounded);
    curl_easy_setopt(s, CURLOPT_WRITEDATA, answer.get());
    curl_easy_setopt(s, CURLOPT_TIMEOUT, kTransferTimeoutSeconds);
    curl_easy_setopt(s, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);

    int result = perform_with_retry(s, url, answer.get());
    if (result != 0) return result;
    long status = 0;
    curl_easy_getinfo(s, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) {
        VLOG_ERROR("HTTP request failed: %ld", status);
        return VESPIN_ERR_HTTP_STATUS;
    }
    return read_answer(answer.get(), list, count);
}

}  // extern "C"
