/* SPDX-License-Identifier: MIT */
#include "support/fibers.h"

#include "support/fuzz_input.h"

#include <cerrno>

#include <sys/mman.h>
#include <ucontext.h>

/* The sanitizers must be notified of every change of the stack. */
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FIBERS_UNDER_ASAN 1
#endif
#if __has_feature(thread_sanitizer)
#define FIBERS_UNDER_TSAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define FIBERS_UNDER_ASAN 1
#endif
#if defined(__SANITIZE_THREAD__)
#define FIBERS_UNDER_TSAN 1
#endif
#ifdef FIBERS_UNDER_ASAN
#include <sanitizer/common_interface_defs.h>
#endif
#ifdef FIBERS_UNDER_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace
{

const size_t STACK_SIZE = 128 * 1024;
const size_t GUARD_SIZE = 4096; /* an inaccessible page below the stack, to detect an overflow */

struct Stack {
    const void *bottom;
    size_t size;
    void *fake; /* AddressSanitizer's, while the stack is inactive */
    void *tsan;
};

} // namespace

struct Fiber {
    ucontext_t context;
    Stack stack;
    void (*body)();
    unsigned steps_left;
    bool waiting;
    bool progressed;
};

static Fiber *current = nullptr;
static ucontext_t outside;
static Stack outside_stack;

/* ---- Switching stacks */

static void before_switch([[maybe_unused]] Stack *from, [[maybe_unused]] const Stack *to)
{
#ifdef FIBERS_UNDER_ASAN
    __sanitizer_start_switch_fiber(&from->fake, to->bottom, to->size);
#endif
#ifdef FIBERS_UNDER_TSAN
    __tsan_switch_to_fiber(to->tsan, 0);
#endif
}

/* Stores the location of the stack that was left in `from`, unless that is null. */
static void after_switch([[maybe_unused]] const Stack *at, [[maybe_unused]] Stack *from)
{
#ifdef FIBERS_UNDER_ASAN
    __sanitizer_finish_switch_fiber(at->fake, from == nullptr ? nullptr : &from->bottom,
                                    from == nullptr ? nullptr : &from->size);
#endif
}

static void switch_in(Fiber *fiber)
{
#ifdef FIBERS_UNDER_TSAN
    outside_stack.tsan = __tsan_get_current_fiber();
#endif
    current = fiber;
    before_switch(&outside_stack, &fiber->stack);
    swapcontext(&outside, &fiber->context);
    after_switch(&outside_stack, nullptr);
    current = nullptr;
}

static void switch_out()
{
    Fiber *self = current;
    const int saved = errno;
    before_switch(&self->stack, &outside_stack);
    swapcontext(&self->context, &outside);
    after_switch(&self->stack, &outside_stack);
    errno = saved;
}

static void begin()
{
    after_switch(&current->stack, &outside_stack);
    current->body();
    must(false, "the body of a fiber does not return");
}

/* ---- Fibers */

Fiber *fiber_new(void (*body)())
{
    Fiber *fiber = new Fiber();
    fiber->body = body;
    void *memory = mmap(nullptr, GUARD_SIZE + STACK_SIZE, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    must(memory != MAP_FAILED && mprotect(memory, GUARD_SIZE, PROT_NONE) == 0,
         "there is memory for a stack");
    char *bottom = static_cast<char *>(memory) + GUARD_SIZE;
    fiber->stack = {bottom, STACK_SIZE, nullptr, nullptr};
#ifdef FIBERS_UNDER_TSAN
    fiber->stack.tsan = __tsan_create_fiber(0);
#endif
    getcontext(&fiber->context);
    fiber->context.uc_stack.ss_sp = bottom;
    fiber->context.uc_stack.ss_size = STACK_SIZE;
    makecontext(&fiber->context, begin, 0);
    return fiber;
}

bool fiber_run(Fiber *fiber, unsigned steps)
{
    if (steps == 0) {
        return false;
    }
    fiber->steps_left = steps;
    fiber->progressed = !fiber->waiting;
    fiber->waiting = false;
    switch_in(fiber);
    return fiber->progressed;
}

const Fiber *fiber_current()
{
    return current;
}

void fiber_step()
{
    current->progressed = true;
    if (--current->steps_left == 0) {
        switch_out();
    }
}

void fiber_wait()
{
    current->waiting = true;
    switch_out();
}

void fiber_progressed()
{
    current->progressed = true;
}
