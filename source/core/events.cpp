#include "core/frame.h"
#include "core/log.h"
#include "tvlink.h"
#include "tvlink/reply.h"

#include <stdlib.h>
#include <string.h>

namespace
{

/* Tags and field counts of an event; a count is one more than the values that follow it. */
const uint8_t TAG_VALUE = 0x03;
const uint8_t TAG_TEXT = 0x08;
const uint8_t TAG_DATA = 0x0C;
const size_t TEXTS_MOST = 2;
const uint8_t FIELDS_WITHOUT_TEXTS = 3;
const uint64_t FIXED_SIZE = 11; /* code, count, value with its tag, tag and length of the data */
const uint64_t TEXT_FIXED_SIZE = 5; /* tag and length of a text */

/* Measured once: the host may change what it points to. */
struct Text {
    const char *bytes;
    size_t length;
};

struct Event {
    int32_t code;
    uint32_t value;
    Text texts[TEXTS_MOST];
    size_t text_count;
    const void *data;
    uint32_t data_length;
};

/* The two fixed lines that each entry point prints around its work. */
struct EventTrace {
    const char *function;
    int first_line;
    int last_line;
};

} // namespace

static Text measured(const char *text)
{
    return {text, text == nullptr ? 0 : strlen(text)};
}

static uint64_t payload_size(const Event *event)
{
    uint64_t size = FIXED_SIZE + event->data_length;
    for (size_t i = 0; i < event->text_count; i++) {
        size += TEXT_FIXED_SIZE + event->texts[i].length;
    }
    return size;
}

/* Writes tag, 4-byte length and bytes; returns where the next value begins. */
static uint8_t *put_block(uint8_t *to, uint8_t tag, const void *bytes, size_t length)
{
    to[0] = tag;
    store_u32(to + 1, static_cast<uint32_t>(length));
    to += 5;
    if (length > 0) {
        memcpy(to, bytes, length);
    }
    return to + length;
}

static void fill_payload(uint8_t *payload, const Event *event)
{
    store_u16(payload, static_cast<uint16_t>(event->code));
    payload[2] = static_cast<uint8_t>(FIELDS_WITHOUT_TEXTS + event->text_count);
    payload[3] = TAG_VALUE;
    store_u16(payload + 4, static_cast<uint16_t>(event->value));
    uint8_t *at = payload + 6;
    for (size_t i = 0; i < event->text_count; i++) {
        at = put_block(at, TAG_TEXT, event->texts[i].bytes, event->texts[i].length);
    }
    put_block(at, TAG_DATA, event->data, event->data_length);
}

static int32_t report(const Event *event, const EventTrace *trace)
{
    log_out("%s %d str_len %d \n", trace->function, trace->first_line,
            static_cast<int>(event->texts[0].length));
    const uint64_t size = payload_size(event);
    const bool refused =
        (event->data == nullptr && event->data_length > 0) || size > INT32_MAX - FRAME_OVERHEAD;
    uint8_t *payload =
        refused ? nullptr : static_cast<uint8_t *>(malloc(static_cast<size_t>(size)));
    if (payload == nullptr) {
        return -1;
    }
    fill_payload(payload, event);
    sendto_all_ctrlpoint(FRAME_EVENT, payload, static_cast<int32_t>(size));
    log_out("%s %d   \n", trace->function, trace->last_line);
    free(payload);
    return 0;
}

int32_t ipp_report_dev_event(int32_t code, uint32_t value, const char *text, const void *data,
                             uint32_t data_length)
{
    const EventTrace trace = {"ipp_report_dev_event", 129, 162};
    const Event event = {code, value, {measured(text), {}}, 1, data, data_length};
    return report(&event, &trace);
}

int32_t ipp_report_dev_event2(int32_t code, uint32_t value, const char *text1, const char *text2,
                              const void *data, uint32_t data_length)
{
    const EventTrace trace = {"ipp_report_dev_event2", 191, 234};
    const Event event = {code, value, {measured(text1), measured(text2)}, 2, data, data_length};
    return report(&event, &trace);
}
