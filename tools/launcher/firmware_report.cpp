#include "firmware_report.h"

#include "node_client.h"
#include "response.h"

#include <stdio.h>

namespace {

bool holds_text(json_object* array, const std::string& text) {
    for (size_t i = 0; i < json_object_array_length(array); i++)
        if (text == json_object_get_string(json_object_array_get_idx(array, i))) return true;
    return false;
}

// The record of `offers` whose "sns" hold the serial number, or NULL.
json_object* offer_for(json_object* offers, const std::string& serial) {
    for (size_t i = 0; i < json_object_array_length(offers); i++) {
        json_object *offer = json_object_array_get_idx(offers, i), *sns = nullptr;
        if (json_object_object_get_ex(offer, "sns", &sns) && holds_text(sns, serial)) return offer;
    }
    return nullptr;
}

}  // namespace

// Starts the local firmware service, points the gateway at it, asks the
// gateway for "firmware.list" and prints the firmware offered per node.
bool show_firmware(const std::string& sim_dir, const std::string& dir, const std::string& address,
                   const std::string& gateway_address, const std::string& gateway_root,
                   const std::vector<std::pair<std::string, std::string>>& nodes, local_firmware_service* service) {
    std::string problem;
    printf("\nFirmware service on %s: ", address.c_str());
    if (!local_firmware_service_start(sim_dir, dir, address, service, &problem) ||
        !local_firmware_service_serve(*service, gateway_root)) {
        printf("failed: %s\n", problem.empty() ? "cannot configure the gateway's root" : problem.c_str());
        return false;
    }
    printf("%s\n", service->url.c_str());
    std::string reply;
    if (node_call_nng(gateway_address, NODE_RPC_PORT, node_request_text("firmware.list", nullptr), 10000, &reply,
                      &problem) != 0) {
        printf("  firmware.list: %s\n", problem.c_str());
        return false;
    }
    vespin_response* response = vespin_response_new_from_json(reply.c_str());
    if (vespin_is_error(response) || response->code != 0) {
        printf("  firmware.list: %s\n", vespin_is_error(response) ? "not a response" : response->message);
        if (!vespin_is_error(response)) vespin_response_free(response);
        return false;
    }
    json_object *offers = nullptr, *asked = nullptr;
    json_object_object_get_ex(response->result, "firmware", &offers);
    json_object_object_get_ex(response->result, "sns", &asked);
    printf("%-12s %-16s %-10s %-10s %s\n", "NODE", "SERIAL", "AVAILABLE", "SIZE", "URL");
    for (const auto& n : nodes) {
        const std::string& serial = n.second;
        json_object* offer = offer_for(offers, serial);
        json_object *version = nullptr, *size = nullptr, *url = nullptr;
        json_object_object_get_ex(offer, "version", &version);
        json_object_object_get_ex(offer, "size", &size);
        json_object_object_get_ex(offer, "url", &url);
        // A node the gateway's topology does not hold yet was not asked for.
        if (!offer)
            printf("%-12s %-16s %s\n", n.first.c_str(), serial.c_str(),
                   holds_text(asked, serial) ? "none" : "not asked (not in the gateway's topology yet)");
        else
            printf("%-12s %-16s %-10s %-10s %s\n", n.first.c_str(), serial.c_str(), json_object_get_string(version),
                   json_object_get_string(size), json_object_get_string(url));
    }
    vespin_response_free(response);
    return true;
}

