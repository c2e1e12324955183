/* Loopback.h: plain sockets on 127.0.0.1, for the measured side and for the baselines alike.
 *
 * Errors: end the benchmark; a figure from half a connection is worse than none.
 */
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

inline void sendWithoutDelay(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

inline sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

/** A connected client socket. */
inline int connectTo(int port) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopbackAddress(port);
    require(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "connect");
    sendWithoutDelay(client);
    return client;
}

struct Listener {
    int socket = -1;
    int port = 0;
};

inline Listener listenAnywhere() {
    Listener listener;
    listener.socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopbackAddress(0);
    socklen_t size = sizeof address;
    require(bind(listener.socket, reinterpret_cast<const sockaddr*>(&address), size) == 0, "bind");
    require(listen(listener.socket, 4) == 0, "listen");
    getsockname(listener.socket, reinterpret_cast<sockaddr*>(&address), &size);
    listener.port = ntohs(address.sin_port);
    return listener;
}

/** Both ends of one TCP connection. */
struct Connection {
    int near = -1;
    int far = -1;

    Connection() {
        const Listener listener = listenAnywhere();
        near = connectTo(listener.port);
        far = accept(listener.socket, nullptr, nullptr);
        sendWithoutDelay(far);
        close(listener.socket);
    }
    ~Connection() {
        if (near >= 0) close(near);
        if (far >= 0) close(far);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
};

inline void receiveAll(int socket, void* into, size_t size) {
    require(recv(socket, into, size, MSG_WAITALL) == static_cast<ssize_t>(size), "recv");
}
