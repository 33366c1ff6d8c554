#include "guide_push.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bytes.h"
#include "host.h"
#include "list_blocks.h"
#include "tvlink/host/push.h"
#include "tvlink/lzw.h"

namespace sim
{

namespace
{

constexpr uint16_t simple_guide_code = 0x2001;
constexpr uint8_t guide_list_tag = 0xA3;
constexpr int guide_code_width = 12;

struct FreeSizedBlock {
    void operator()(void *block) const
    {
        free(static_cast<uint32_t *>(block) - 2);
    }
};

using SizedBlock = std::unique_ptr<void, FreeSizedBlock>;

std::string compressed(const std::string &bytes)
{
    const SizedBlock plain(sized_block(bytes));
    const SizedBlock packed(plain == nullptr ? nullptr : lzw_encode(plain.get(), guide_code_width));
    if (packed == nullptr) {
        return "";
    }
    const uint32_t length = *(static_cast<const uint32_t *>(packed.get()) - 1);
    return {static_cast<const char *>(packed.get()), length};
}

/* The payload of a reply to a request for the simple guide. */
std::string reply_with(const ListBlock &block)
{
    const std::string packed = compressed(block.bytes);
    std::string reply;
    append_u8(reply, 1);
    append_u16(reply, simple_guide_code);
    append_u8(reply, guide_list_tag);
    if (packed.empty()) {
        append_u32(reply, 0);
        return reply;
    }
    append_u32(reply, static_cast<uint32_t>(sizeof(uint16_t) + packed.size()));
    append_u16(reply, static_cast<uint16_t>(block.entries));
    return reply + packed;
}

std::vector<CtrlPoint> connected_phones()
{
    std::vector<CtrlPoint> phones(ipp_connected_ctrlpoints(nullptr, 0));
    const uint32_t room = static_cast<uint32_t>(phones.size());
    phones.resize(std::min(room, ipp_connected_ctrlpoints(phones.data(), room)));
    return phones;
}

bool start_push(CtrlPoint &phone, const std::string &reply)
{
    CtrlPoint *word = &phone;
    void *data = heap_bytes(reply.data(), reply.size());
    if (data == nullptr ||
        start_egp_thread(&word, data, static_cast<uint32_t>(reply.size())) != 0) {
        free(data);
        return false;
    }
    return true;
}

} // namespace

GuidePush push_guide()
{
    const ListBlock block = read_state(
        [](const Television &tv) { return present_entries(tv.channels, tv.guide, time_now()); });
    const std::string reply = reply_with(block);
    GuidePush push{block.entries, 0};
    for (CtrlPoint &phone : connected_phones()) {
        push.phones += start_push(phone, reply) ? 1 : 0;
    }
    return push;
}

} // namespace sim
