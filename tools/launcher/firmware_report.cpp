#include "firmware_report.h"

#include "node_client.h"
#include "response.h"

#include <stdio.h>

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
    json_object* offers = nullptr;
    json_object_object_get_ex(response->result, "firmware", &offers);
    printf("%-12s %-16s %-10s %-10s %s\n", "NODE", "SERIAL", "AVAILABLE", "SIZE", "URL");
    for (const auto& n : nodes) {
        const std::string& name = n.first;
        const std::string& serial = n.second;
        json_object* offer = nullptr;
        for (size_t i = 0; !offer && i < json_object_array_length(offers); i++) {
            json_object *candidate = json_object_array_get_idx(offers, i), *sns = nullptr;
            json_object_object_get_ex(candidate, "sns", &sns);
            for (size_t j = 0; j < json_object_array_length(sns); j++)
                if (serial == json_object_get_string(json_object_array_get_idx(sns, j))) offer = candidate;
        }
        json_object *version = nullptr, *size = nullptr, *url = nullptr;
        json_object_object_get_ex(offer, "version", &version);
        json_object_object_get_ex(offer, "size", &size);
        json_object_object_get_ex(offer, "url", &url);
        printf("%-12s %-16s %-10s %-10s %s\n", name.c_str(), serial.c_str(),
               offer ? json_object_get_string(version) : "none", offer ? json_object_get_string(size) : "-",
               offer ? json_object_get_string(url) : "-");
    }
    vespin_response_free(response);
    return true;
}

