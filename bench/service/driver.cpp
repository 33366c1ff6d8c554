/* SPDX-License-Identifier: MIT */
#include "driver.h"

#include "table.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int PATIENCE_S = 10;

void fail(const std::string &what)
{
    std::fprintf(stderr, "bench_service: %s (%s)\n", what.c_str(), std::strerror(errno));
    std::exit(1);
}

/* ---- Servers */

[[noreturn]] static void execute(const std::vector<std::string> &command, int input, int output)
{
    std::vector<char *> arguments;
    for (const std::string &argument : command) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    execvp(arguments[0], arguments.data());
    fail(command[0]);
}

Server start_foreign(const std::vector<std::string> &command, uint16_t port)
{
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        fail("pipe");
    }
    const pid_t child = fork();
    if (child == 0) {
        execute(command, input[0], output[1]);
    }
    close(output[1]); /* so that its end is seen */
    return {child, port, input[1], output[0], -1};
}

static int open_network(const std::string &process)
{
    const int network = open(("/proc/" + process + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC);
    if (network < 0) {
        fail("the network of process " + process);
    }
    return network;
}

Server start_server(const std::vector<std::string> &command, bool own_network)
{
    Server server = start_foreign(command, 0);
    server.port = static_cast<uint16_t>(read_answer(server));
    server.network = own_network ? open_network(std::to_string(server.process)) : -1;
    return server;
}

uint64_t read_answer(const Server &server)
{
    uint64_t number = 0;
    if (read(server.answers, &number, sizeof number) != sizeof number) {
        fail("a server has ended");
    }
    return number;
}

void send_question(const Server &server, Question question)
{
    if (write(server.questions, &question, 1) != 1) {
        fail("a server has ended");
    }
}

uint64_t ask(const Server &server, Question question)
{
    send_question(server, question);
    return read_answer(server);
}

/* ---- Connections */

static void enter_network(int network)
{
    if (setns(network, CLONE_NEWNET) != 0) {
        fail("setns");
    }
}

int make_socket(const Server &server, int type)
{
    static const int home = open_network("self");
    if (server.network >= 0) {
        enter_network(server.network);
    }
    const int fd = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (server.network >= 0) {
        enter_network(home);
    }
    return fd >= 0 ? fd : (fail("socket"), -1);
}

static bool try_to_connect(int fd, uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

int connect_to(const Server &server)
{
    const timeval patience = {PATIENCE_S, 0};
    const int on = 1;
    for (int attempt = 0; attempt < 500; attempt++) {
        const int fd = make_socket(server, SOCK_STREAM);
        if (try_to_connect(fd, server.port)) {
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
            return fd;
        }
        close(fd);
        usleep(10000);
    }
    fail("connect");
}

void send_all(int fd, const Bytes &bytes, size_t size)
{
    if (send(fd, bytes.data(), size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
        fail("send");
    }
}

void receive_all(int fd, Bytes *bytes)
{
    const ssize_t size = recv(fd, bytes->data(), bytes->size(), MSG_WAITALL);
    if (size != static_cast<ssize_t>(bytes->size())) {
        fail("what was expected has not come");
    }
}

static void exchange(int fd, const Bytes &request, Bytes *reply)
{
    send_all(fd, request, request.size());
    receive_all(fd, reply);
}

void expect(int fd, const Bytes &request, const Bytes &reply)
{
    Bytes received(reply.size());
    exchange(fd, request, &received);
    if (received != reply) {
        fail("a request is answered with other bytes than expected");
    }
}

void press_key(int phone)
{
    static const Bytes request = key_request();
    static const Bytes reply = key_reply();
    expect(phone, request, reply);
}

/* The key shows that the connection was accepted: otherwise the backlog would overflow. */
int connect_phone(const Server &server)
{
    const int phone = connect_to(server);
    press_key(phone);
    return phone;
}

std::vector<int> connect_phones(const Server &server, int count)
{
    std::vector<int> phones;
    for (int i = 0; i < count; i++) {
        phones.push_back(connect_phone(server));
    }
    return phones;
}

double round_trip_us(int fd, const Bytes &request, size_t reply_size, int count)
{
    Bytes reply(reply_size);
    return median(count, [&] {
        const uint64_t before = now_ns();
        exchange(fd, request, &reply);
        return static_cast<double>(now_ns() - before) / 1e3;
    });
}

double pipelined_us(int fd, int count, int depth)
{
    const Bytes request = key_request();
    const size_t reply_size = key_reply().size();
    Bytes requests;
    for (int i = 0; i < depth; i++) {
        requests.insert(requests.end(), request.begin(), request.end());
    }
    uint8_t buffer[16384];
    size_t received = 0;
    int sent = 0;
    const uint64_t before = now_ns();
    for (int answered = 0; answered < count; answered = static_cast<int>(received / reply_size)) {
        const int most = std::min(answered + depth, count);
        send_all(fd, requests, static_cast<size_t>(most - sent) * request.size());
        sent = most;
        const ssize_t size = recv(fd, buffer, sizeof buffer, 0);
        if (size <= 0) {
            fail("a request in flight is not answered");
        }
        received += static_cast<size_t>(size);
    }
    return static_cast<double>(now_ns() - before) / 1e3 / count;
}

/* ---- Crowds */

Crowd gather(const std::vector<int> &phones)
{
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    for (const int fd : phones) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.fd = fd;
        if (epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) != 0) {
            fail("epoll");
        }
    }
    return {epoll, phones.size()};
}

static size_t receive_some(int fd)
{
    uint8_t buffer[4096];
    const ssize_t size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
    return size > 0 ? static_cast<size_t>(size) : (fail("a phone was dropped"), size_t{0});
}

void await_all(const Crowd &crowd, size_t bytes_each)
{
    epoll_event ready[64];
    for (size_t received = 0; received < crowd.size * bytes_each;) {
        const int count = epoll_wait(crowd.epoll, ready, 64, PATIENCE_S * 1000);
        if (count <= 0) {
            fail("an event has not come to every phone");
        }
        for (int i = 0; i < count; i++) {
            received += receive_some(ready[i].data.fd);
        }
    }
}
