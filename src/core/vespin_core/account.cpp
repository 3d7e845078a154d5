// The administrator account: user name and password in the settings store,
// applied to the remote shell by the firmware's "vespin_telnetd".
#include "vespin_core.h"

#include "apmib.h"
#include "platform/platform.h"

namespace {

const int kMibUserName = 182;
const int kMibPassword = 183;
const int kMibPasswordCopy = 2406;

}  // namespace

extern "C" {

int get_user_and_password(int account, char* user, char* password) {
    (void)account;  // one account is stored; the index only mirrors the setter
    if (!user || !password) return -1;
    return apmib_get(kMibUserName, user) && apmib_get(kMibPassword, password) ? 0 : -1;
}

int set_user_and_password(int account, const char* user, const char* password) {
    (void)account;
    if (!user || !password) return -1;
    if (!apmib_set(kMibUserName, const_cast<char*>(user)) || !apmib_set(kMibPassword, const_cast<char*>(password)) ||
        !apmib_set(kMibPasswordCopy, const_cast<char*>(password)))
        return -1;
    plat_system("vespin_telnetd change_password");
    return 0;
}

}  // extern "C"
