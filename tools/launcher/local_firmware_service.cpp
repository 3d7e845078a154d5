#include "local_firmware_service.h"

#include <signal.h>
#include <sys/prctl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace {

const char kHost[] = "firmware.vespin.test";

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

bool append_file(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out << text;
    return out.good();
}

bool write_file(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return out.good();
}

}  // namespace

bool local_firmware_service_start(const std::string& sim_dir, const std::string& dir, const std::string& address,
                                  local_firmware_service* service, std::string* problem) {
    mkdir(dir.c_str(), 0755);
    std::string script = sim_dir + "/firmware-service.py";
    pid_t pid = fork();
    if (pid < 0) {
        *problem = "cannot fork";
        return false;
    }
    if (pid == 0) {
        setpgid(0, 0);  // Ctrl-C reaches the launcher only, which stops the service itself
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        const char* python3 = access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3";
        execlp(python3, python3, script.c_str(), dir.c_str(), "--address", address.c_str(), "--host", kHost,
               (char*)nullptr);
        _exit(127);
    }
    service->pid = pid;
    service->dir = dir;
    service->address = address;
    for (int tries = 0; tries < 200; tries++) {
        int port = atoi(read_file(dir + "/port").c_str());
        if (port > 0) {
            service->url = "https://" + std::string(kHost) + ":" + std::to_string(port);
            return true;
        }
        int status;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            service->pid = -1;
            *problem = "python3 " + script + " exited with status " + std::to_string(WEXITSTATUS(status));
            return false;
        }
        usleep(50 * 1000);
    }
    *problem = "no port within 10 s";
    local_firmware_service_stop(service);
    return false;
}

bool local_firmware_service_serve(const local_firmware_service& service, const std::string& root,
                                  const std::string& url) {
    std::string ca = read_file(service.dir + "/ca.pem");
    return !ca.empty() && append_file(root + "/etc/ssl/certs/ca-certificates.crt", ca) &&
           append_file(root + "/etc/hosts", service.address + "\t" + kHost + "\n") &&
           local_firmware_service_set_url(root, url.empty() ? service.url : url);
}

bool local_firmware_service_set_url(const std::string& root, const std::string& url) {
    std::string package = "\nconfig firmware 'firmware'\n\toption url '" + url + "'\n\n";
    return write_file(root + "/etc/config/vespin_cloud", package);
}

void local_firmware_service_stop(local_firmware_service* service) {
    if (service->pid <= 0) return;
    kill(service->pid, SIGTERM);
    for (int tries = 0; tries < 40; tries++) {
        if (waitpid(service->pid, nullptr, WNOHANG) == service->pid) {
            service->pid = -1;
            return;
        }
        usleep(50 * 1000);
    }
    kill(service->pid, SIGKILL);
    waitpid(service->pid, nullptr, 0);
    service->pid = -1;
}
