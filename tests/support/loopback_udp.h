// Plain UDP sockets on 127.0.0.1 for the datagram tests and benchmarks.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>

#include <string>

inline struct sockaddr_in loopback_address(uint16_t port) {
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// The address a socket is bound to.
inline struct sockaddr_in bound_address(int fd) {
    struct sockaddr_in address = {};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<struct sockaddr*>(&address), &length);
    return address;
}

inline uint16_t bound_port(int fd) { return ntohs(bound_address(fd).sin_port); }
inline std::string bound_host(int fd) { return inet_ntoa(bound_address(fd).sin_addr); }

// A UDP socket bound to 127.0.0.1 on a free port.
inline int new_loopback_udp_socket() {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in address = loopback_address(0);
    bind(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address);
    return fd;
}

inline void send_datagram(int fd, const struct sockaddr_in& to, const std::string& bytes) {
    sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const struct sockaddr*>(&to), sizeof to);
}
