#include "uci_read.h"

#include "text.h"
#include "uci/uci_backend.h"

int uci_read_values(uci_context* ctx, const char* path, std::vector<std::string>* values) {
    values->clear();
    if (vespin_is_error(ctx) || !ctx || !path) return VESPIN_ERR_FAILURE;
    auto* b = reinterpret_cast<uci_backend_context*>(ctx);
    char cut[256];
    copy_text(cut, sizeof cut, path);
    uci_backend_found found;
    int err = uci_backend_lookup(b, cut, &found);
    if (err == UCI_BACKEND_NOTFOUND || (err == 0 && !found.complete)) return VESPIN_ERR_NOT_FOUND;
    if (err != 0) return VESPIN_ERR_FAILURE;
    switch (found.last) {
        case uci_backend_element::section:
        case uci_backend_element::option_string:
            values->push_back(found.text);
            return 0;
        case uci_backend_element::option_list:
            for (const std::string& item : found.items)
                if (item.find_first_of(" \t\r\n") == std::string::npos) values->push_back(item);
            return 0;
        default:
            return VESPIN_ERR_FAILURE;
    }
}

int uci_read_text(uci_context* ctx, const char* path, std::string* value) {
    std::vector<std::string> values;
    int result = uci_read_values(ctx, path, &values);
    *value = result == 0 && !values.empty() ? values.front() : std::string();
    return result;
}
