/* System functions that a test counts, or lets fail.
 *
 * The test programs are linked so that calls of these functions by the library and by the tests
 * themselves come here first; calls inside libc and libstdc++ (operator new, say) do not. */
#pragma once

enum SystemFunction {
    CALL_MALLOC,
    CALL_CALLOC,
    CALL_REALLOC,
    CALL_PTHREAD_CREATE,
    CALL_PTHREAD_JOIN,
    CALL_SOCKET,
    CALL_SETSOCKOPT,
    CALL_LISTEN,
    CALL_ACCEPT4,
    CALL_IOCTL,
    CALL_SEND,
    SYSTEM_FUNCTIONS
};

enum class Threads { THIS, EVERY };

/* Watches one function while it lives, for calls of this thread or of every thread. One at a time
 * for each function. */
class WatchedCall
{
public:
    explicit WatchedCall(SystemFunction function, Threads threads = Threads::THIS);
    ~WatchedCall();
    WatchedCall(const WatchedCall &) = delete;
    WatchedCall &operator=(const WatchedCall &) = delete;

    /* The first-th call from now on and the next ones, `times` in all, do nothing and fail with
     * this errno: null, -1, or for the pthread functions the number itself. */
    void fail(int error, long first = 1, long times = 1);

    long calls() const; /* since it began, or since the last fail() */

private:
    SystemFunction function_;
};
