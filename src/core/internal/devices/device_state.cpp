// What UCI and the LAN tell about one device.
#include "internal_devices.h"

#include "core/internal/devices/device_options.h"
#include "core/uci_ref.h"
#include "platform.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <sys/wait.h>

#include <string>

int is_device_online(const char* mac_text) {
    uci_ref uci;
    std::string online;
    return uci.ok() && device_option(uci.get(), mac_text, "online", &online) &&
           vespin_uci_value_is_true(online.c_str());
}

int is_real_wired_device(const char* mac_text) {
    uci_ref uci;
    std::string band;
    return !uci.ok() || !device_option(uci.get(), mac_text, "band", &band) || band == "wired";
}

int is_lan_ip_available(const char* ip_text) {
    struct in_addr address;
    if (!ip_text || inet_pton(AF_INET, ip_text, &address) != 1) return 0;
    char command[64];
    snprintf(command, sizeof command, "arping -f -c 1 -I br0 %s > /dev/null", ip_text);
    int status = plat_system(command);
    return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
