/* SPDX-License-Identifier: MIT */
/* The service's control port and its two workers, without the discovery. */
#pragma once

#include "support/phone.h"
#include "tvlink/ctrlpoint.h"

#include <functional>
#include <memory>

/* Runs while it lives. */
class TcpService
{
public:
    TcpService();
    ~TcpService();
    TcpService(const TcpService &) = delete;
    TcpService &operator=(const TcpService &) = delete;

    void start();
    void stop(); /* by ipp_finish */
};

/* How many control points are registered. */
size_t connected();
bool wait_for_connected(size_t count);

/* Waits until the phone is registered, and looks at its record with the registry's lock held. False
 * when it does not come to that. */
bool look_at(const Phone &phone, const std::function<void(const CtrlPoint &record)> &look);

/* The same for single things: is it registered, the number of the service's end, and the record
 * itself, which stays the library's and may be gone at any time. -1 and null when it is not. */
bool registered(const Phone &phone);
int number_of(const Phone &phone);
CtrlPoint *record_of(const Phone &phone);

/* Takes the record out of the registry as another thread of the host or the library would. */
void drop(CtrlPoint *record);

/* While one lives, get requests go to the function and not to the television's handlers. It runs on
 * the request worker. One at a time; the service runs neither when it begins nor when it ends. */
class GetRequests
{
public:
    using Function = std::function<void(CtrlPoint *item, const Bytes &body)>;

    explicit GetRequests(Function function);
    ~GetRequests(); /* waits until the function has returned */
    GetRequests(const GetRequests &) = delete;
    GetRequests &operator=(const GetRequests &) = delete;
};

/* Sends the body's payload back as a get reply. Result of tcp_sendback. */
int echo(CtrlPoint *item, const Bytes &body);

/* A door at which threads wait until it is opened; it opens by itself when it ends. */
class Door
{
public:
    Door();
    ~Door();
    Door(const Door &) = delete;
    Door &operator=(const Door &) = delete;

    void pass() const;
    void open() const;
    bool wait_for_somebody(int count = 1) const; /* until so many have come to it */

private:
    struct State;
    std::shared_ptr<State> state_; /* whoever waits may outlive the door */
};
