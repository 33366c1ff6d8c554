/* SPDX-License-Identifier: MIT */
#include "tvlink/host/lists.h"

#include "methods/list_reply.h"
#include "tvlink/host/push.h"

#include <stdlib.h>
#include <string.h>

static const protocol::Operation SIMPLE_GUIDE = protocol::OPERATIONS.get_tv_simpleepg;

static bool push_to(CtrlPoint *phone, const PayloadBuilder *payload)
{
    void *data = malloc(payload->size);
    if (data == nullptr) {
        return false;
    }
    memcpy(data, payload->bytes, payload->size);
    if (start_egp_thread(&phone, data, payload->size) != 0) {
        free(data);
        return false;
    }
    return true;
}

static int32_t push_to_all(const PayloadBuilder *payload)
{
    const uint32_t room = ipp_connected_ctrlpoints(nullptr, 0);
    CtrlPoint *phones = static_cast<CtrlPoint *>(calloc(room + 1, sizeof *phones));
    if (phones == nullptr) {
        return -1;
    }
    const uint32_t connected = ipp_connected_ctrlpoints(phones, room);
    int32_t started = 0;
    for (uint32_t i = 0; i < connected && i < room; i++) {
        started += push_to(&phones[i], payload) ? 1 : 0;
    }
    free(phones);
    return started;
}

int32_t ipp_push_guide(IppList *list)
{
    const uint32_t entries = list->entries;
    PayloadBuilder payload = list_payload(SIMPLE_GUIDE.first_code, list_form(SIMPLE_GUIDE), entries,
                                          ipp_list_finish(list));
    if (payload.bytes == nullptr) {
        return -1;
    }
    const int32_t started = push_to_all(&payload);
    payload_free(&payload);
    return started;
}
