/* SPDX-License-Identifier: MIT */
#include "base/log.h"
#include "link/send.h"
#include "tvlink.h"
#include "wire/payload_builder.h"

#include <string.h>

namespace
{

const size_t TEXTS_MAX = 2;
const uint8_t FIELDS_WITHOUT_TEXTS = 3; /* a count is one more than the values that follow it */
const uint64_t FIXED_SIZE = 11; /* code, count, value with its tag, tag and length of the data */
const uint64_t TEXT_FIXED_SIZE = 5; /* tag and length of a text */

/* The length is a snapshot: the host may be changing the text. */
struct Text {
    const char *bytes;
    size_t length;
};

struct Event {
    int32_t code;
    uint32_t value;
    Text texts[TEXTS_MAX];
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

static PayloadBuilder payload_of(const Event *event, uint64_t size)
{
    PayloadBuilder payload = payload_begin(size);
    put_u16(&payload, static_cast<uint16_t>(event->code));
    put_u8(&payload, static_cast<uint8_t>(FIELDS_WITHOUT_TEXTS + event->text_count));
    put_u8(&payload, TAG_U16);
    put_u16(&payload, static_cast<uint16_t>(event->value));
    for (size_t i = 0; i < event->text_count; i++) {
        const Text *text = &event->texts[i];
        put_block(&payload, TAG_STRING, text->bytes, static_cast<uint32_t>(text->length));
    }
    put_block(&payload, TAG_BLOB, event->data, event->data_length);
    return payload;
}

static int32_t report(const Event *event, const EventTrace *trace)
{
    log_out("%s %d str_len %d \n", trace->function, trace->first_line,
            static_cast<int>(event->texts[0].length));
    const uint64_t size = payload_size(event);
    if ((event->data == nullptr && event->data_length > 0) || size > PAYLOAD_MAX) {
        return -1;
    }
    PayloadBuilder payload = payload_of(event, size);
    const Frame frame = payload_frame(&payload, FRAME_EVENT);
    if (frame.bytes == nullptr) {
        return -1;
    }
    send_event(frame, static_cast<uint16_t>(event->code), payload.bytes[2]);
    log_out("%s %d   \n", trace->function, trace->last_line);
    payload_free(&payload);
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
