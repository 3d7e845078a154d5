// Performing the core's HTTPS sessions: as they stand on the router; fenced
// to loopback and the root's "/etc/hosts" on the emulated router.
#include "platform.h"
#include "hooks.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <sys/socket.h>

#include <string>

namespace {

bool is_loopback(uint32_t address) { return (ntohl(address) >> 24) == 127; }

// Captured verbose text: one trace entry per line, prefixed as libcurl's
// own verbose output is ("* " text, "> " sent header, "< " received header).
int capture_trace(CURL*, curl_infotype kind, char* data, size_t size, void*) {
    const char* prefix = kind == CURLINFO_TEXT ? "* " : kind == CURLINFO_HEADER_OUT ? "> "
                         : kind == CURLINFO_HEADER_IN ? "< " : nullptr;
    if (!prefix) return 0;
    std::string text(data, size);
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) plat_hooks_state().log.push_back({PLAT_LOG_TRACE, 0, "", "", 0, prefix + line});
        start = end + 1;
    }
    return 0;
}

// Every connection of an emulated session: loopback only.
curl_socket_t open_loopback_socket(void*, curlsocktype, struct curl_sockaddr* address) {
    if (address->family != AF_INET ||
        !is_loopback(reinterpret_cast<const struct sockaddr_in*>(&address->addr)->sin_addr.s_addr))
        return CURL_SOCKET_BAD;
    return socket(address->family, address->socktype, address->protocol);
}

// Names not given through CURLOPT_RESOLVE (a redirect to another host) are
// never looked up.
int refuse_lookup(void*, void*, void*) { return 1; }

bool url_host_port(const char* url, std::string* host, long* port) {
    CURLU* parsed = curl_url();
    if (!parsed) return false;
    char* host_part = nullptr;
    char* port_part = nullptr;
    bool ok = curl_url_set(parsed, CURLUPART_URL, url, 0) == CURLUE_OK &&
              curl_url_get(parsed, CURLUPART_HOST, &host_part, 0) == CURLUE_OK &&
              curl_url_get(parsed, CURLUPART_PORT, &port_part, CURLU_DEFAULT_PORT) == CURLUE_OK;
    if (ok) {
        *host = host_part;
        *port = strtol(port_part, nullptr, 10);
    }
    curl_free(host_part);
    curl_free(port_part);
    curl_url_cleanup(parsed);
    return ok;
}

int perform_in_root(CURL* session, const char* url) {
    std::string host;
    long port = 0;
    if (!url || !url_host_port(url, &host, &port)) return CURLE_URL_MALFORMAT;
    uint32_t address = 0;
    struct in_addr literal;
    if (inet_pton(AF_INET, host.c_str(), &literal) == 1) address = literal.s_addr;
    else if (!plat_resolve_ipv4(host.c_str(), &address)) return CURLE_COULDNT_RESOLVE_HOST;
    if (!is_loopback(address)) return CURLE_COULDNT_CONNECT;
    char ip[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &address, ip, sizeof ip);
    std::string entry = host + ":" + std::to_string(port) + ":" + ip;
    curl_slist* resolve = curl_slist_append(nullptr, entry.c_str());
    if (!resolve) return CURLE_OUT_OF_MEMORY;
    curl_easy_setopt(session, CURLOPT_RESOLVE, resolve);
    curl_easy_setopt(session, CURLOPT_PROXY, "");
    curl_easy_setopt(session, CURLOPT_OPENSOCKETFUNCTION, open_loopback_socket);
    curl_easy_setopt(session, CURLOPT_RESOLVER_START_FUNCTION, refuse_lookup);
    int result = curl_easy_perform(session);
    curl_easy_setopt(session, CURLOPT_RESOLVE, nullptr);
    curl_slist_free_all(resolve);
    return result;
}

}  // namespace

int plat_http_perform(CURL* session, const char* url) {
    if (!session) return CURLE_FAILED_INIT;
    const auto& h = plat_hooks_state();
    if (h.http_transfer_timeout_ms > 0) curl_easy_setopt(session, CURLOPT_TIMEOUT_MS, h.http_transfer_timeout_ms);
    if (h.http_connect_timeout_ms > 0)
        curl_easy_setopt(session, CURLOPT_CONNECTTIMEOUT_MS, h.http_connect_timeout_ms);
    if (h.capture_log) curl_easy_setopt(session, CURLOPT_DEBUGFUNCTION, capture_trace);
    return plat_is_emulated() ? perform_in_root(session, url) : curl_easy_perform(session);
}
