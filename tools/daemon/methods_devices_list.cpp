// The connected-device list and its neighbours: "devices.list" (the mesh's
// clients; params "probe_wired" boolean, default false), "devices.offline",
// "devices.delete" (params "mac": one device; absent: every offline one),
// "devices.guests" (the guest-network clients), "devices.dhcp_clients" (the
// leases with host names), "devices.arp" (the ARP table on br0),
// "devices.state" (params "mac": what UCI says of it) and "devices.probe"
// (params "ip": whether the address answers arping).
// MACs travel as 12 lower-case hex digits, addresses as dotted quads.
#include "internal_devices.h"
#include "method_reply.h"
#include "methods.h"
#include "tools.h"
#include "uciconfig.h"

#include <stdlib.h>
#include <string.h>

namespace {

void put_text(json_object* o, const char* key, const char* value) {
    json_object_object_add(o, key, json_object_new_string(value));
}

void put_u64(json_object* o, const char* key, uint64_t value) {
    json_object_object_add(o, key, json_object_new_int64(value > INT64_MAX ? INT64_MAX : (int64_t)value));
}

void put_mac(json_object* o, const uint8_t mac[6]) {
    char text[13];
    system_mac_to_string(mac, text);
    put_text(o, "mac", text);
}

void put_ip(json_object* o, uint32_t address) {
    char text[16];
    ip_int_to_string(address, text);
    put_text(o, "ip", text);
}

// The station statistics that device and guest records share.
template <typename Record>
void put_statistics(json_object* o, const Record& d) {
    put_u64(o, "rx_avg_rate", d.avg_rate_2);
    put_u64(o, "tx_avg_rate", d.avg_rate_1);
    put_u64(o, "link_time", d.link_time);
    put_u64(o, "rx_bytes", d.bytes_2);
    put_u64(o, "tx_bytes", d.bytes_1);
    json_object_object_add(o, "rssi", json_object_new_int(d.rssi));
    put_u64(o, "tx_rate", d.tx_rate);
    put_text(o, "node_sn", d.node_sn);
    put_text(o, "node_name", d.node_name);
}

json_object* device_json(const lan_device_info& d) {
    json_object* o = json_object_new_object();
    put_text(o, "name", d.name);
    put_ip(o, d.ip);
    put_mac(o, d.mac);
    json_object_object_add(o, "wireless", json_object_new_boolean(d.wireless != 0));
    put_text(o, "brand", d.brand);
    put_text(o, "band", d.band);
    put_statistics(o, d);
    return o;
}

}  // namespace

vespin_response* devices_list_method(json_object* params) {
    vespin_response* error = nullptr;
    bool probe_wired = false;
    if (!param_bool_or(params, "probe_wired", false, &probe_wired, &error)) return error;
    lan_device_info* list = nullptr;
    int32_t count = 0;
    int rv = mesh_device_list(&list, &count, probe_wired ? 1 : 0);
    if (rv != 0) return method_error(rv, "Fail to list the devices");
    json_object* result = json_object_new_array();
    for (int32_t i = 0; i < count; i++) json_object_array_add(result, device_json(list[i]));
    free(list);
    return method_result(result);
}

vespin_response* devices_offline_method(json_object* params) {
    offline_device_list list = {0, nullptr};
    int rv = vespin_get_offline_device(&list);
    if (rv != 0) return method_error(rv, "Fail to list the offline devices");
    json_object* result = json_object_new_array();
    for (uint32_t i = 0; i < list.count; i++) {
        const offline_device_info& d = list.devices[i];
        json_object* o = json_object_new_object();
        put_text(o, "mac", d.mac);
        put_text(o, "name", d.name);
        put_u64(o, "online_duration", d.online_duration);
        put_u64(o, "access_time", d.access_time);
        put_u64(o, "offline_time", d.offline_time);
        put_u64(o, "tx_bytes", d.tx_bytes);
        put_u64(o, "rx_bytes", d.rx_bytes);
        json_object_array_add(result, o);
    }
    free(list.devices);
    return method_result(result);
}

vespin_response* devices_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac = nullptr;
    if (!param_text_or(params, "mac", nullptr, &mac, &error)) return error;
    uci_context* ctx = mac ? nullptr : vespin_uci_ctx_new();
    int rv = vespin_del_offline_device(ctx, mac);
    vespin_uci_ctx_free(ctx);
    if (rv != 0) return method_error(rv, "Fail to delete the device");
    return method_result(nullptr);
}

vespin_response* devices_guests_method(json_object* params) {
    guest_device_info devices[LAN_DEVICE_MAX];
    guest_device_list list = {LAN_DEVICE_MAX, devices};
    int rv = vespin_get_guest_device_list(&list);
    if (rv != 0) return method_error(rv, "Fail to list the guest devices");
    json_object* result = json_object_new_array();
    for (int32_t i = 0; i < list.count; i++) {
        const guest_device_info& d = devices[i];
        json_object* o = json_object_new_object();
        put_text(o, "mac", d.mac);
        put_text(o, "name", d.name);
        put_text(o, "ip", d.ip);
        put_text(o, "ssid", d.ssid);
        put_statistics(o, d);
        json_object_array_add(result, o);
    }
    return method_result(result);
}

vespin_response* devices_dhcp_clients_method(json_object* params) {
    dhcp_client_info clients[DHCP_CLIENT_MAX];
    int32_t count = 0;
    rtk_get_dhcp_client_list(&count, clients);
    json_object* result = json_object_new_array();
    for (int32_t i = 0; i < count; i++) {
        json_object* o = json_object_new_object();
        put_text(o, "name", clients[i].name);
        put_ip(o, clients[i].ip);
        put_mac(o, clients[i].mac);
        put_u64(o, "expires", clients[i].expires);
        json_object_array_add(result, o);
    }
    return method_result(result);
}

vespin_response* devices_arp_method(json_object* params) {
    arp_entry entries[ARP_ENTRY_MAX];
    int count = get_arp_table_list(entries);
    if (count < 0) return method_error(VESPIN_ERR_FAILURE, "Fail to get arp table list");
    json_object* result = json_object_new_array();
    for (int i = 0; i < count; i++) {
        json_object* o = json_object_new_object();
        put_ip(o, entries[i].ip);
        put_mac(o, entries[i].mac);
        json_object_array_add(result, o);
    }
    return method_result(result);
}

vespin_response* devices_state_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac;
    if (!param_text(params, "mac", &mac, &error)) return error;
    json_object* result = json_object_new_object();
    json_object_object_add(result, "online", json_object_new_boolean(is_device_online(mac)));
    json_object_object_add(result, "real_wired", json_object_new_boolean(is_real_wired_device(mac)));
    return method_result(result);
}

vespin_response* devices_probe_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* ip;
    if (!param_text(params, "ip", &ip, &error)) return error;
    json_object* result = json_object_new_object();
    json_object_object_add(result, "available", json_object_new_boolean(is_lan_ip_available(ip)));
    return method_result(result);
}
