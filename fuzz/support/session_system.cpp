/* SPDX-License-Identifier: MIT */
#include "support/session_system.h"

#include "support/fibers.h"
#include "support/session_backlog.h"
#include "support/session_model.h"
#include "support/session_phones.h"
#include "support/system_calls.h"

#include "tvlink/registry.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

/* The faults of recv and send. */
enum FaultKind {
    FAULT_SHORT, /* fewer bytes */
    FAULT_EINTR,
    FAULT_EAGAIN,
    FAULT_RESET,
    FAULT_PIPE,
    FAULT_KINDS,
};

} // namespace

/* ---- The input's choices */

static void step()
{
    if (fiber_current() != nullptr) {
        fiber_step();
    }
}

static ssize_t fail(int reason)
{
    errno = reason;
    return -1;
}

static Fault take_fault(Fault *fault)
{
    const Fault taken = *fault;
    *fault = {};
    return taken;
}

/* Returns -1 with errno, or 0, maybe with a smaller `size`. */
static ssize_t apply_fault(const Fault &fault, size_t *size)
{
    static const int REASONS[] = {0, EINTR, EAGAIN, ECONNRESET, EPIPE};
    if (!fault.set) {
        return 0;
    }
    const unsigned kind = fault.value % FAULT_KINDS;
    if (kind != FAULT_SHORT) {
        return fail(REASONS[kind]);
    }
    *size = std::min<size_t>(*size, fault.value / FAULT_KINDS + 1U);
    return 0;
}

/* ---- Receiving */

static int bytes_arriving(int fd, int *count)
{
    model_received();
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "the server looks at connections");
    connection->discarding = false;
    const Fault fault = take_fault(&connection->ioctl_fault);
    if (fault.set && fault.value == 0) {
        connection->may_drop = true;
        return static_cast<int>(fail(EIO));
    }
    const int result = system_ioctl.real(fd, FIONREAD, count);
    if (fault.set) {
        *count = std::min<int>(*count, fault.value);
    }
    return result;
}

static void note_received(Connection *connection, const Bytes &bytes, size_t portion)
{
    if (connection->discarding) {
        return;
    }
    connection->arrived.insert(connection->arrived.end(), bytes.begin(), bytes.end());
    if (bytes.size() == portion) {
        model_split(connection); /* now: a length of 0 discards only what has been received */
    }
}

static ssize_t call_recv(int fd, void *data, size_t size, int)
{
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "the server receives from connections");
    const size_t portion = size;
    if (apply_fault(take_fault(&connection->recv_fault), &size) != 0) {
        return -1;
    }
    const ssize_t count = recvfrom(fd, data, size, MSG_DONTWAIT, nullptr, nullptr);
    if (count > 0) {
        const uint8_t *bytes = static_cast<const uint8_t *>(data);
        note_received(connection, Bytes(bytes, bytes + count), portion);
    } else if (count < 0 && errno == EAGAIN) {
        fiber_wait();
    }
    return count;
}

/* ---- Sending */

static ssize_t not_sent(Connection *connection, int reason, uint64_t began_ms)
{
    if (reason == EAGAIN || reason == EINTR) {
        if (backlog_bound() != 0) {
            note_no_room(connection, began_ms);
        } else {
            check_blocked(connection, began_ms);
        }
    } else {
        connection->may_drop = true;
        connection->abandoned = true;
    }
    return fail(reason);
}

static void note_sent(Connection *connection, const uint8_t *bytes, ssize_t count)
{
    connection->expected.insert(connection->expected.end(), bytes, bytes + count);
    if (present_lane() == LANE_SERVER) {
        note_kept_sent(connection, static_cast<size_t>(count));
    } else {
        connection->sending.erase(connection->sending.begin(), connection->sending.begin() + count);
    }
    connection->stalled_since_ms = 0;
}

static ssize_t call_send(int fd, const void *data, size_t size, int flags)
{
    const uint64_t began_ms = session.elapsed_ms;
    must(backlog_bound() == 0 || (flags & MSG_DONTWAIT) != 0, "a send does not wait for room");
    send_begins(find_connection(fd));
    step();
    Connection *connection = find_connection(fd);
    must(connection != nullptr, "what is sent goes to a connection");
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    check_offered(connection, Bytes(bytes, bytes + size));
    if (apply_fault(take_fault(&connection->send_fault), &size) != 0) {
        return not_sent(connection, errno, began_ms);
    }
    const ssize_t count = sendto(fd, data, size, MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0);
    if (count < 0) {
        must(errno == EAGAIN || may_be_dropped(*connection), "a send fails when there is a reason");
        return not_sent(connection, errno, began_ms);
    }
    note_sent(connection, bytes, count);
    if (connection->reads) {
        phone_reads(connection);
    }
    return count;
}

static int call_ioctl(int fd, unsigned long request, void *value)
{
    return request == FIONREAD ? bytes_arriving(fd, static_cast<int *>(value))
                               : system_ioctl.real(fd, request, value);
}

/* ---- The server's calls */

static int readable_now(int epoll, epoll_event *events, int room)
{
    const int count = system_epoll_wait.real(epoll, events, room, 0);
    if (count > 0) {
        fiber_step();
    }
    return count;
}

/* Waits only when nothing is readable, and only once, as if the time-out had expired then. */
static int ready_or_late(int epoll, epoll_event *events, int room, int limit_ms)
{
    check_wait(limit_ms);
    fiber_wait();
    const int count = readable_now(epoll, events, room);
    if (count == 0) {
        check_wait(limit_ms);
    }
    return count;
}

static int call_epoll_wait(int epoll, epoll_event *events, int room, int limit_ms)
{
    model_received();
    check_pass();
    must((session.flags & GUARDED) == 0 || registered_count() <= GUARDED_PHONES,
         "there are no more phones than the guard allows");
    int count = readable_now(epoll, events, room);
    for (const Connection &connection : session.connections) {
        must(count != 0 || !is_refused(connection) || !connection.registered,
             "who is not admitted is refused");
    }
    if (count == 0) {
        count = ready_or_late(epoll, events, room, limit_ms);
    }
    begin_pass();
    return count;
}

static int call_accept(int, sockaddr *from, socklen_t *, int)
{
    if (session.transferring) {
        return static_cast<int>(fail(EINVAL));
    }
    step();
    uint8_t byte = 0;
    if (session.accept_fault != 0) {
        static const int REASONS[] = {EMFILE, ECONNABORTED, EINTR, ENOMEM};
        const int reason = REASONS[session.accept_fault % 4];
        session.accept_fault = 0;
        return static_cast<int>(fail(reason));
    }
    if (session.accept_queue.empty() || read(session.listener, &byte, 1) != 1) {
        return static_cast<int>(fail(EAGAIN));
    }
    Connection &connection = session.connections[session.accept_queue.front()];
    session.accept_queue.pop_front();
    connection.service_fd = fcntl(connection.pending_fd, F_DUPFD_CLOEXEC, 0);
    close(connection.pending_fd);
    connection.pending_fd = -1;
    connection.registered = true;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = connection.phone;
    memcpy(from, &address, sizeof address);
    return connection.service_fd;
}

static int call_shutdown(int fd, int how)
{
    Connection *connection = find_connection(fd);
    if (connection != nullptr) {
        if (present_lane() == LANE_SERVER) {
            model_split(connection); /* an announced length may be the reason */
        }
        note_shutdown(connection);
        must(may_be_dropped(*connection), "who has given no reason is not dropped");
        connection->registered = false;
        connection->dropped = true;
    }
    return system_shutdown.real(fd, how);
}

/* The service refuses a connection, or has finished with it. One that was shut down counts for the
 * guard until it is out of the list. */
static void note_closed(Connection *connection)
{
    if (!connection->dropped) {
        connection->registered = false;
        must(is_refused(*connection) || session.stopping ||
                 ((session.flags & GUARDED) != 0 && g_cp_list.count >= GUARDED_PHONES),
             "a connection is refused with a reason, or shut down before it is closed");
        connection->may_drop = true;
        connection->dropped = true;
    }
    forget_kept(connection);
    connection->service_fd = -1;
}

static int call_close(int fd)
{
    must(fiber_current() == nullptr || fcntl(fd, F_GETFD) >= 0, "nothing is closed twice");
    Connection *connection = find_connection(fd);
    if (connection != nullptr) {
        note_closed(connection);
    }
    return system_close.real(fd);
}

/* For the control port while it is opened. */
static int call_socket(int domain, int type, int protocol)
{
    return session.starting ? session.listener : system_socket.real(domain, type, protocol);
}

static int call_listen(int fd, int backlog)
{
    return session.starting ? 0 : system_listen.real(fd, backlog);
}

/* The port of a bulk transfer: constant, since replies contain it. */
static int call_getsockname(int, sockaddr *name, socklen_t *)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(40000);
    memcpy(name, &address, sizeof address);
    return 0;
}

/* ---- Waiting */

static int call_usleep(useconds_t)
{
    if (fiber_current() != nullptr) {
        check_sleep();
        fiber_step();
        fiber_wait();
    }
    return 0;
}

/* Fibers share one thread: who holds a lock is kept here. */
struct Holder {
    const Fiber *fiber;
    unsigned depth;
};

static std::map<const pthread_mutex_t *, Holder> holders;

static int call_mutex_trylock(pthread_mutex_t *mutex)
{
    Holder &holder = holders[mutex];
    const bool again = holder.fiber == fiber_current() && mutex == &g_cp_list_mutex;
    const bool busy = holder.depth > 0 && !again;
    note_lock(mutex, !busy);
    if (busy) {
        return EBUSY;
    }
    holder.fiber = fiber_current();
    holder.depth++;
    return 0;
}

static int call_mutex_unlock(pthread_mutex_t *mutex)
{
    Holder &holder = holders[mutex];
    must(holder.depth > 0 && holder.fiber == fiber_current(), "who unlocks a lock holds it");
    note_unlock(mutex);
    holder.depth--;
    if (holder.depth == 0) {
        holders.erase(mutex);
    }
    return 0;
}

static int call_mutex_lock(pthread_mutex_t *mutex)
{
    const bool waits = call_mutex_trylock(mutex) == EBUSY;
    for (bool busy = waits; busy; busy = call_mutex_trylock(mutex) == EBUSY) {
        fiber_wait();
    }
    if (waits) {
        fiber_progressed();
    }
    return 0;
}

static int call_sem_wait(sem_t *items)
{
    while (sem_trywait(items) != 0) {
        fiber_wait();
    }
    fiber_progressed();
    item_taken(items);
    return 0;
}

static int call_sem_post(sem_t *items)
{
    const int result = system_sem_post.real(items);
    item_posted(items);
    return result;
}

/* ---- Time */

static int call_gettimeofday(timeval *now, void *)
{
    *now = {session.now_s, 0};
    return 0;
}

/* libFuzzer reads the other clocks. */
static int call_clock_gettime(clockid_t clock, timespec *now)
{
    if (clock != CLOCK_MONOTONIC) {
        return system_clock_gettime.real(clock, now);
    }
    now->tv_sec = static_cast<time_t>(session.elapsed_ms / 1000);
    now->tv_nsec = static_cast<long>(session.elapsed_ms % 1000 * 1000000);
    return 0;
}

void replace_system_calls()
{
    replace<call_recv>(system_recv);
    replace<call_send>(system_send);
    replace<call_ioctl>(system_ioctl);
    replace<call_epoll_wait>(system_epoll_wait);
    replace<call_socket>(system_socket);
    replace<call_listen>(system_listen);
    replace<call_getsockname>(system_getsockname);
    replace<call_accept>(system_accept4);
    replace<call_shutdown>(system_shutdown);
    replace<call_close>(system_close);
    replace<call_usleep>(system_usleep);
    replace<call_mutex_lock>(system_pthread_mutex_lock);
    replace<call_mutex_trylock>(system_pthread_mutex_trylock);
    replace<call_mutex_unlock>(system_pthread_mutex_unlock);
    replace<call_sem_wait>(system_sem_wait);
    replace<call_sem_post>(system_sem_post);
    replace<call_gettimeofday>(system_gettimeofday);
    replace<call_clock_gettime>(system_clock_gettime);
}
