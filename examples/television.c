/* SPDX-License-Identifier: MIT */
/* A small television: keys, volume, channels, a guide from a file, a picture of the screen.
 *
 *     television [GUIDE [PICTURE]]
 *
 * GUIDE has a programme in each line, CHANNEL;BEGINS IN MINUTES;MINUTES;TITLE (examples/guide.txt).
 * PICTURE is a PNG that stands for the screen. It runs until it is told to end. */
#define _POSIX_C_SOURCE 200809L

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <tvlink.h>
#include <tvlink/conventions.h>
#include <tvlink/host/lists.h>

static const char *const CHANNELS[] = {"News", "Leisure", "Films"};
enum { CHANNEL_COUNT = sizeof CHANNELS / sizeof CHANNELS[0] };

/* The worker runs one slot at a time, so what only slots use needs no lock. */
static int channel = 1;
static int volume = 25;
static const char *guide_file = "examples/guide.txt";
static const char *picture_file = "docs/screen.png";

/* ---- What phones change: the state, then an event for every phone */

static int step_channel(int32_t step)
{
    channel = ((channel - 1 + step) % CHANNEL_COUNT + CHANNEL_COUNT) % CHANNEL_COUNT + 1;
    return ipp_report_dev_event(IPP_EVENT_CHANNEL, (uint32_t)channel, CHANNELS[channel - 1], NULL,
                                0);
}

static int step_volume(int32_t step)
{
    volume += step;
    volume = volume < 0 ? 0 : volume > 100 ? 100 : volume;
    return ipp_report_dev_event(IPP_EVENT_VOLUME, (uint32_t)volume, NULL, NULL, 0);
}

static int press_key(uint32_t key, uint32_t value)
{
    (void)value;
    switch (key) {
    case IPP_KEY_VOLUME_UP:
        return step_volume(1);
    case IPP_KEY_VOLUME_DOWN:
        return step_volume(-1);
    case IPP_KEY_CHANNEL_UP:
        return step_channel(1);
    case IPP_KEY_CHANNEL_DOWN:
        return step_channel(-1);
    default:
        return -1; /* the phone is told that it failed */
    }
}

/* ---- What phones ask for */

static uint32_t shown_channel(void)
{
    return (uint32_t)channel;
}

static int level(uint8_t selector)
{
    return selector == IPP_SELECT_VOLUME ? volume : IPP_PICTURE_STANDARD;
}

static void *list_channels(uint16_t *count)
{
    IppList list = IPP_LIST_EMPTY;
    int number;
    for (number = 1; number <= CHANNEL_COUNT; number++) {
        const IppChannel cell = {(uint16_t)number, CHANNELS[number - 1], "All", "", ""};
        ipp_list_add_channel(&list, &cell);
    }
    *count = (uint16_t)list.entries;
    return ipp_list_finish(&list);
}

static void *list_guide(uint16_t *count)
{
    IppList list = IPP_LIST_EMPTY;
    char line[300], title[256];
    unsigned number;
    int begin, minutes;
    FILE *file = fopen(guide_file, "r");
    while (file != NULL && fgets(line, sizeof line, file) != NULL) {
        if (sscanf(line, "%u;%d;%d;%255[^\n]", &number, &begin, &minutes, title) == 4) {
            const IppProgramme programme = {(uint16_t)number,
                                            (uint32_t)(time(NULL) + begin * 60),
                                            (uint32_t)minutes * 60,
                                            title,
                                            "",
                                            ""};
            ipp_list_add_programme(&list, &programme);
        }
    }
    if (file != NULL)
        fclose(file);
    *count = (uint16_t)list.entries;
    return ipp_list_finish(&list);
}

/* The picture stays the host's until the next one. */
static void *capture_screen(int16_t width, uint16_t height, uint32_t *length)
{
    static char picture[1 << 20];
    FILE *file = fopen(picture_file, "rb");
    (void)width;
    (void)height;
    if (file == NULL)
        return NULL;
    *length = (uint32_t)fread(picture, 1, sizeof picture, file);
    fclose(file);
    return *length > 0 ? picture : NULL;
}

/* ---- What the developer sees */

static void told_line(int stream, const char *text, void *context)
{
    (void)context;
    if (stream != IPP_LOG_OUT) /* the rest is for those who debug the library */
        fputs(text, stderr);
}

static void told_request(const IppRequest *request, void *context)
{
    (void)context;
    printf("request %02x code %04x: %s\n", (unsigned)request->type, (unsigned)request->code,
           request->reason == IPP_REASON_NONE ? "done" : ipp_reason_text(request->reason));
    fflush(stdout);
}

int main(int count, char **words)
{
    static const IppGuard guard = IPP_GUARD_RECOMMENDED;
    static TvMethodTable table;
    IppObserver observer;
    sigset_t end;
    int number;

    guide_file = count > 1 ? words[1] : guide_file;
    picture_file = count > 2 ? words[2] : picture_file;
    table.set_tv_key = press_key;
    table.set_tv_volume = step_volume;
    table.set_tv_channel = step_channel;
    table.get_tv_code2005 = shown_channel;
    table.get_tv_code010e = level;
    table.get_tv_channelcode = list_channels;
    table.get_tv_simpleepg = list_guide;
    table.get_screen_shot2 = capture_screen;
    memset(&observer, 0, sizeof observer);
    observer.request_done = told_request;
    observer.request_refused = told_request;

    sigemptyset(&end); /* before there are threads, so that none of them is interrupted */
    sigaddset(&end, SIGINT);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_BLOCK, &end, NULL);

    ipp_set_log_sink(told_line, NULL);
    ipp_set_observer(&observer);
    ipp_set_guard(&guard);
    register_tv_method(&table);
    if (ipp_init(1, "Example", "SN-0001") != IPP_OK)
        return 1;
    sigwait(&end, &number);
    return ipp_finish();
}
