/* SPDX-License-Identifier: MIT */
/* The screen of tvlink-sim, taken by a phone. */
#include "system/sim_phone.h"

#include "support/project_text.h"

#include <algorithm>

#include <netinet/in.h>
#include <sys/socket.h>

#include <stb/stb_image.h>

namespace
{

struct Picture {
    int width = 0;
    int height = 0;
    Bytes pixels;
};

Descriptor connected_to(uint16_t port)
{
    Descriptor socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const void *generic = &address;
    EXPECT_EQ(connect(socket_.get(), static_cast<const sockaddr *>(generic), sizeof address), 0);
    return socket_;
}

/* What the port that the reply names delivers: a length and as many bytes. */
Bytes delivered(const Bytes &reply)
{
    EXPECT_EQ(reply.size(), 6u);
    EXPECT_EQ(hex(Bytes(reply.begin(), reply.begin() + 4)), "01 18 01 04");
    const Descriptor bulk = connected_to(static_cast<uint16_t>(reply.at(4) | reply.at(5) << 8));
    const Bytes length = receive_bytes(bulk.get(), 4);
    uint32_t size = 0;
    memcpy(&size, length.data(), length.size());
    const Bytes image = receive_bytes(bulk.get(), size);
    EXPECT_EQ(image.size(), size);
    EXPECT_TRUE(wait_for_end(bulk.get()));
    return image;
}

Picture captured(const Phone &phone, const std::string &width, const std::string &height)
{
    const Bytes png = delivered(bytes(get(phone, "01 18 01 02 03 " + width + " 03 " + height)));
    Picture picture;
    int channels = 0;
    stbi_uc *pixels = stbi_load_from_memory(png.data(), static_cast<int>(png.size()),
                                            &picture.width, &picture.height, &channels, 3);
    EXPECT_NE(pixels, nullptr);
    if (pixels != nullptr) {
        picture.pixels.assign(pixels, pixels + picture.width * picture.height * 3);
        stbi_image_free(pixels);
    }
    return picture;
}

TEST(SimScreen, IsCapturedAsPngInTheSizeAskedFor)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    const Picture own = captured(phone, "00 00", "00 00");
    EXPECT_EQ(own.width, 1280);
    EXPECT_EQ(own.height, 720);
    const Picture small = captured(phone, "40 01", "B4 00");
    EXPECT_EQ(small.width, 320);
    EXPECT_EQ(small.height, 180);
    const Picture least = captured(phone, "FF FF", "01 00");
    EXPECT_EQ(least.width, 160);
    EXPECT_EQ(least.height, 90);
    EXPECT_TRUE(wait_for_calls(*sim, "screen? 320 x 180, ")) << sim->out();
}

TEST(SimScreen, ShowsTheVolumeAndIsBlackInStandby)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    const Picture before = captured(phone, "40 01", "B4 00");
    EXPECT_EQ(set(phone, "0F 01 02 28"), "0F 01 00");
    /* The middle of the volume's bar, at 60 of 100. */
    const Picture louder = captured(phone, "40 01", "B4 00");
    const size_t middle = (size_t{82} * 320 + 303) * 3;
    EXPECT_NE(hex(&before.pixels.at(middle), 3), "FF BE 3C");
    EXPECT_EQ(hex(&louder.pixels.at(middle), 3), "FF BE 3C");
    EXPECT_EQ(set(phone, "09 01 02 06 74 00 00 00 06 00 00 00 00"), "09 01 00"); /* power */
    const Picture standby = captured(phone, "40 01", "B4 00");
    EXPECT_EQ(std::count(standby.pixels.begin(), standby.pixels.end(), 0), 320 * 180 * 3);
}

TEST(SimScreen, IsAsLargeAsTheOptionSays)
{
    const auto sim = start_sim({"--screen", "3840x2160"});
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    const Picture own = captured(phone, "00 00", "00 00");
    EXPECT_EQ(own.width, 3840);
    EXPECT_EQ(own.height, 2160);
    const Picture most = captured(phone, "FF 7F", "FF FF");
    EXPECT_EQ(most.width, 3840);
    EXPECT_EQ(most.height, 2160);
    expect_failure(run_program(TVLINK_SIM_PATH, {"--screen", "3841x2160"}), 2, "",
                   "tvlink-sim: --screen: not a size from 160x90 to 3840x2160");
}

TEST(SimScreen, IsSavedInAFile)
{
    const auto sim = start_sim();
    ASSERT_NE(sim, nullptr);
    const TemporaryFile file("before");
    const Finished result =
        local_ctl({"screenshot", "-o", file.path, "--width", "320", "--height", "180"});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string image = file.content();
    EXPECT_EQ(result.out, file.path + ": " + std::to_string(image.size()) + " bytes\n");
    EXPECT_EQ(image.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(image.substr(16, 8), std::string("\0\0\x01\x40\0\0\0\xB4", 8)); /* 320 x 180 */
}

/* Without a picture the television goes on, and says why there is none. */
void expect_no_picture(const Words &arguments, const std::string &reason)
{
    const auto sim = start_sim(arguments);
    ASSERT_NE(sim, nullptr);
    const Phone phone;
    EXPECT_EQ(get(phone, "01 18 01 02 03 00 00 03 00 00"), "01 18 01 04 00 00");
    EXPECT_TRUE(wait_for_calls(*sim, "screen? no picture: " + reason + "\n")) << sim->out();
    EXPECT_EQ(hex(phone.exchange_heartbeat()), hex(answer_heartbeat()));
}

TEST(SimScreen, IsNotCapturedWithoutAFont)
{
    expect_no_picture({"--font", "/nowhere/font.ttf"}, "\"/nowhere/font.ttf\" is no font");
    setenv("FONTCONFIG_FILE", project_path("tests/unit/sim/no_fonts.conf").c_str(), 1);
    expect_no_picture({}, "no font is installed; the package fonts-dejavu-core has one");
    unsetenv("FONTCONFIG_FILE");
}

} // namespace
