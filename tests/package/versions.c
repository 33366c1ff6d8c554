/* SPDX-License-Identifier: MIT */
/* A host of another version than the library. check_package compiles it with headers whose records
 * are shorter (OLDER) or longer (NEWER, by `later`) than the library's. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <tvlink.h>

#define EXPECT(condition)                                                                          \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);                        \
            exit(1);                                                                               \
        }                                                                                          \
    } while (0)

static int events = 0;

static void event_sent(uint16_t code, uint32_t reached, uint32_t failed, void *context)
{
    (void)reached;
    (void)failed;
    EXPECT(context == &events);
    events += code;
}

/* As long as the host knows it: a library that reads or writes more is found by the address
 * sanitizer. */
static void *zeroed(size_t size)
{
    char *block = (char *)malloc(size);
    EXPECT(block != NULL);
    memset(block, 0, size);
    return block;
}

static void set_a_guard(void)
{
    IppGuard *guard = (IppGuard *)zeroed(sizeof *guard);
    guard->max_frame_length = 1000;
    EXPECT(ipp_set_guard(guard) == 0);
#ifdef NEWER
    guard->later = 1;
    EXPECT(ipp_set_guard(guard) == -1);
#endif
    EXPECT((ipp_set_guard)(guard) == 0); /* as before records told their size */
    EXPECT(ipp_set_guard(NULL) == 0);
    free(guard);
}

static void set_an_observer(void)
{
    IppObserver *observer = (IppObserver *)zeroed(sizeof *observer);
    observer->event_sent = event_sent;
    observer->context = &events;
    EXPECT(ipp_set_observer(observer) == 0);
    EXPECT(ipp_report_dev_event(7, 2, NULL, NULL, 0) == 0);
    EXPECT(events == 7);
#ifdef NEWER
    observer->later = 1;
    EXPECT(ipp_set_observer(observer) == -1);
#endif
    EXPECT(ipp_set_observer(NULL) == 0);
    free(observer);
}

static void read_statistics(void)
{
    IppStats *stats = (IppStats *)zeroed(sizeof *stats);
    memset(stats, 0xEE, sizeof *stats);
    EXPECT(ipp_stats(stats, sizeof *stats) == 0);
    EXPECT(stats->events == 1);
#ifdef NEWER
    EXPECT(stats->later == 0);
#endif
    free(stats);
}

static void register_a_table(void)
{
    TvMethodTable *table = (TvMethodTable *)zeroed(sizeof *table);
    EXPECT(register_tv_method(table) == table);
#ifdef OLDER
    EXPECT(g_tv_method != table); /* it is copied */
#else
    EXPECT(g_tv_method == table);
#endif
#ifdef NEWER
    table->later = 1;
    EXPECT(register_tv_method(table) == NULL);
    EXPECT(g_tv_method == table);
#endif
    EXPECT(register_tv_method(NULL) == NULL);
    EXPECT(g_tv_method == NULL);
    free(table);
}

int main(void)
{
    set_a_guard();
    set_an_observer();
    read_statistics();
    register_a_table();
    return 0;
}
