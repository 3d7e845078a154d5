// The time zone: the stored zone text becomes a POSIX TZ string in
// "/etc/TZ", and the NTP client restarts with the chosen server.
#include "vespin_core.h"

#include "apmib.h"
#include "core/log.h"
#include "platform/platform.h"
#include "result_codes.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace {

const int kMibNtpServerIndex = 152;
const int kMibTimeZone = 153;
const int kMibDaylightSaving = 282;
const int kMibNtpServers[] = {154, 155, 2255, 2256, 2257, 2258};
const size_t kZoneTextSize = 64;  // larger than the setting, so a stored text always ends
const size_t kServerNameSize = 128;

struct daylight_rule {
    const char* zone;
    const char* rule;
};

// Summer-time rules by zone text (hour offset and index), matched in this
// order; every rule names its summer time PDT.
const daylight_rule kDaylightRules[] = {
    {"9 1", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"8 1", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"7 2", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"6 1", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"6 2", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"5 2", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"5 3", "PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"4 3", "PDT,M10.2.0/00:00:00,M3.2.0/00:00:00"},
    {"3 1", "PDT,M4.1.0/00:00:00,M10.5.0/00:00:00"},
    {"3 2", "PDT,M2.2.0/00:00:00,M10.2.0/00:00:00"},
    {"1 1", "PDT,M3.5.0/00:00:00,M10.5.0/01:00:00"},
    {"0 2", "PDT,M3.5.0/01:00:00,M10.5.0/02:00:00"},
    {"-1", "PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-2 1", "PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-3 2", "PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-10 5", "PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-2 2", "PDT,M3.5.0/03:00:00,M10.5.0/04:00:00"},
    {"-2 3", "PDT,M4.5.5/00:00:00,M9.5.5/00:00:00"},
    {"-2 5", "PDT,M3.5.0/03:00:00,M10.5.5/04:00:00"},
    {"-2 6", "PDT,M3.5.5/02:00:00,M10.1.0/02:00:00"},
    {"-4 2", "PDT,M3.5.0/04:00:00,M10.5.0/05:00:00"},
    {"-9 4", "PDT,M10.5.0/02:00:00,M4.1.0/03:00:00"},
    {"-10 2", "PDT,M10.5.0/02:00:00,M4.1.0/03:00:00"},
    {"-10 4", "PDT,M10.1.0/02:00:00,M4.1.0/03:00:00"},
    {"-12 1", "PDT,M3.2.0/03:00:00,M10.1.0/02:00:00"},
};

// Zones half an hour off the whole hour.
const char* const kHalfHourZones[] = {"3 1", "-3 4", "-4 3", "-5 3", "-9 4", "-9 5"};

const char* daylight_rule_of(const char* zone) {
    for (const daylight_rule& r : kDaylightRules)
        if (strcmp(r.zone, zone) == 0) return r.rule;
    return "";
}

bool is_half_hour_zone(const char* zone) {
    for (const char* z : kHalfHourZones)
        if (strcmp(z, zone) == 0) return true;
    return false;
}

// The hour offset: the zone text's first space-separated token.
std::string hour_token(const char* zone) {
    const char* end = strchr(zone, ' ');
    return end ? std::string(zone, (size_t)(end - zone)) : std::string(zone);
}

// A signed number of one or two digits: the only hour text that may reach
// the shell.
bool is_hour_offset(const std::string& token) {
    size_t digits = token.size() - (token.compare(0, 1, "-") == 0 ? 1 : 0);
    if (digits < 1 || digits > 2) return false;
    for (size_t i = token.size() - digits; i < token.size(); i++)
        if (!isdigit((unsigned char)token[i])) return false;
    return true;
}

// A name ntp_inet can only read as a server: no shell characters, and no
// leading '-' that would make it an option.
bool is_host_name(const char* name) {
    if (name[0] == '-') return false;
    for (const char* c = name; *c; c++)
        if (!isalnum((unsigned char)*c) && !strchr(".-_:", *c)) return false;
    return true;
}

// The name of the chosen NTP server; empty when none can be used.
std::string ntp_server() {
    int index = -1;
    char name[kServerNameSize] = {0};
    if (!apmib_get(kMibNtpServerIndex, &index) || index < 0 || index > 5) return "";
    if (!apmib_get(kMibNtpServers[index], name) || !is_host_name(name)) return "";
    return name;
}

}  // namespace

extern "C" {

int setTimeZone(void) {
    int daylight_saving = 1;
    char zone[kZoneTextSize] = {0};
    apmib_get(kMibDaylightSaving, &daylight_saving);
    apmib_get(kMibTimeZone, zone);
    std::string hour = hour_token(zone);
    if (!is_hour_offset(hour)) {
        VLOG_ERROR("Wrong format of MIB_NTP_TIMEZONE: `%s`", zone);
        return VESPIN_ERR_INTERNAL;
    }
    const char* rule = daylight_saving ? daylight_rule_of(zone) : "";
    char tz[128];
    snprintf(tz, sizeof tz, is_half_hour_zone(zone) ? "GMT%s:30%s" : "GMT%s%s", hour.c_str(), rule);
    char command[192];
    snprintf(command, sizeof command, "echo %s >%s", tz, "/etc/TZ");
    return plat_system(command);
}

int restart_ntp(void) {
    plat_system("killall -9 ntp_inet >/dev/null 2>&1");
    setTimeZone();
    char command[kServerNameSize + 64];
    snprintf(command, sizeof command, "ntp_inet -x %s >/dev/null 2>&1", ntp_server().c_str());
    plat_system("timelimit flush");
    plat_system("timelimit add");
    return plat_system(command);
}

}  // extern "C"
