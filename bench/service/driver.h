/* SPDX-License-Identifier: MIT */
/* What drives the servers: their processes, connections, round trips, and crowds of phones. A row
 * of the table runs in a process of its own, with which all that it has opened and started ends. */
#pragma once

#include "host.h"
#include "messages.h"

#include <string>
#include <sys/types.h>
#include <vector>

[[noreturn]] void fail(const std::string &what);

/* ---- Servers */

struct Server {
    pid_t process;
    uint16_t port;
    int questions;
    int answers;
    int network; /* of a server with a network of its own; -1: the driver's */
};

/* One of this program's own. */
Server start_server(const std::vector<std::string> &command, bool own_network);

/* Another one, on this port. */
Server start_foreign(const std::vector<std::string> &command, uint16_t port);

uint64_t read_answer(const Server &server);
void send_question(const Server &server, Question question);
uint64_t ask(const Server &server, Question question);

/* ---- Connections */

/* A socket in the server's network. */
int make_socket(const Server &server, int type);

int connect_to(const Server &server);
void send_all(int fd, const Bytes &bytes, size_t size);
void receive_all(int fd, Bytes *bytes);

/* Fails unless these bytes are the answer. */
void expect(int fd, const Bytes &request, const Bytes &reply);

void press_key(int phone);

/* A phone that has pressed a key. The service drops it when it hears nothing more for 31 s. */
int connect_phone(const Server &server);
std::vector<int> connect_phones(const Server &server, int count);

/* The median of so many round trips, in us. */
double round_trip_us(int fd, const Bytes &request, size_t reply_size, int count);

/* Time for each of so many keys, in us, when up to `depth` at a time are in flight. */
double pipelined_us(int fd, int count, int depth);

/* Connections that are read together. */
struct Crowd {
    int epoll;
    size_t size;
};

Crowd gather(const std::vector<int> &phones);

/* Reads until this many bytes have come for each of them. */
void await_all(const Crowd &crowd, size_t bytes_each);
