/* SPDX-License-Identifier: MIT */
/* tvlink-ctl screenshot: what arrives over a port of its own, and the file that it becomes. */
#include "system/ctl_script.h"

#include <fstream>
#include <sstream>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

/* A folder of the test's, removed with what is in it. */
class Folder
{
public:
    Folder()
    {
        EXPECT_NE(mkdtemp(path_), nullptr);
    }
    ~Folder()
    {
        for (const std::string &name : names()) {
            unlink(in(name).c_str());
        }
        rmdir(path_);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string in(const std::string &name) const
    {
        return std::string(path_) + "/" + name;
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        DIR *folder = opendir(path_);
        for (const dirent *entry = readdir(folder); entry != nullptr; entry = readdir(folder)) {
            if (entry->d_name[0] != '.') {
                found.emplace_back(entry->d_name);
            }
        }
        closedir(folder);
        return found;
    }

private:
    char path_[32] = "/tmp/tvlink-ctl-XXXXXX";
};

std::string content_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

/* A television that has an image ready: it answers the request with the port and sends this there,
 * all of it. Without a transfer nobody connects to the port. */
Finished take_picture(const Words &arguments, const std::string &request,
                      const std::optional<Bytes> &transfer)
{
    const Descriptor listener = listening_on();
    const Descriptor image_listener = listening_on();
    Words words = arguments;
    words.insert(words.end(),
                 {"--host", "127.0.0.1", "--port", std::to_string(port_of(listener.get()))});
    Program program(TVLINK_CTL_PATH, words);
    const Descriptor connection = accept_soon(listener.get());
    EXPECT_EQ(receive_body(connection.get()), hex(bytes(request)));
    const uint32_t port = transfer ? port_of(image_listener.get()) : 0;
    send_bytes(connection.get(), framed(bytes("06 01 18 01 04 " + little(port, 2))));
    if (transfer) {
        const Descriptor image = accept_soon(image_listener.get());
        send_bytes(image.get(), *transfer);
    }
    const std::optional<int> status = program.wait_for_exit();
    return {status, program.out(), program.err()};
}

const char *const plain_request = "05 01 18 01 02 03 00 00 03 00 00";

TEST(CtlScreenshot, IsSaved)
{
    const Folder folder;
    const std::string file = folder.in("screen.png");
    const Finished result =
        take_picture({"screenshot", "-o", file}, plain_request, bytes("05 00 00 00 'image'"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, file + ": 5 bytes\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(content_of(file), "image");
    EXPECT_EQ(folder.names(), Words{"screen.png"});
}

TEST(CtlScreenshot, HasTheSizeThatIsAskedFor)
{
    const Folder folder;
    const std::string file = folder.in("screen.png");
    const Finished result =
        take_picture({"screenshot", "-o", file, "--width", "640", "--height", "65535", "--json"},
                     "05 01 18 01 02 03 80 02 03 FF FF", bytes("00 00 00 00"));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "{\"file\":\"" + file + "\",\"bytes\":0}\n");
    EXPECT_EQ(content_of(file), "");
}

TEST(CtlScreenshot, HasTheRightsOfAnyNewFile)
{
    const Folder folder;
    const std::string file = folder.in("screen.png");
    const mode_t before = umask(027);
    const Finished result =
        take_picture({"screenshot", "-o", file}, plain_request, bytes("01 00 00 00 'x'"));
    umask(before);
    EXPECT_EQ(result.status, 0) << result.err;
    struct stat facts = {};
    ASSERT_EQ(stat(file.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0640U);
}

TEST(CtlScreenshot, ReplacesWhatIsThereOnceItIsWhole)
{
    const Folder folder;
    const std::string file = folder.in("screen.png");
    std::ofstream(file) << "before";
    const Finished half =
        take_picture({"screenshot", "-o", file}, plain_request, bytes("05 00 00 00 'ima'"));
    EXPECT_EQ(half.status, 1);
    EXPECT_NE(half.err.find("(it closed before all that it announced had arrived)"),
              std::string::npos)
        << half.err;
    EXPECT_EQ(content_of(file), "before");
    EXPECT_EQ(folder.names(), Words{"screen.png"});
    EXPECT_EQ(take_picture({"screenshot", "-o", file}, plain_request, bytes("05 00 00 00 'image'"))
                  .status,
              0);
    EXPECT_EQ(content_of(file), "image");
}

TEST(CtlScreenshot, LeavesNothingBehindWhenItFails)
{
    const Folder folder;
    const Words command = {"screenshot", "-o", folder.in("screen.png")};
    expect_failure(take_picture(command, plain_request, std::nullopt), 7, "",
                   "tvlink-ctl: the television answered that it failed: an image of its screen");
    const Finished large = take_picture(command, plain_request, bytes("01 00 00 04"));
    EXPECT_EQ(large.status, 6);
    EXPECT_NE(large.err.find("(more bytes are announced than are accepted)"), std::string::npos);
    EXPECT_EQ(folder.names(), Words{});
}

TEST(CtlScreenshot, EndsWithStatusFourWhenNobodyServesThePort)
{
    const Folder folder;
    uint16_t port = 0;
    {
        const Descriptor closed = listening_on();
        port = port_of(closed.get());
    }
    const Finished result = run_script({"screenshot", "-o", folder.in("screen.png")},
                                       {{plain_request, "06 01 18 01 04 " + little(port, 2)}});
    EXPECT_EQ(result.status, 4);
    EXPECT_NE(first_line(result.err)
                  .find(" refused the connection to port " + std::to_string(port) +
                        ", where the image was to be"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(folder.names(), Words{});
}

TEST(CtlScreenshot, EndsWithStatusFiveWhenTheImageDoesNotArrive)
{
    const Folder folder;
    const Descriptor silent = listening_on(); /* connections wait there to be accepted */
    const Finished result =
        run_script({"screenshot", "-o", folder.in("screen.png"), "--timeout", "0.5"},
                   {{plain_request, "06 01 18 01 04 " + little(port_of(silent.get()), 2)}});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(first_line(result.err), "tvlink-ctl: the image did not arrive in time");
    EXPECT_EQ(folder.names(), Words{});
}

TEST(CtlScreenshot, SaysWhyItCannotBeWritten)
{
    const Folder folder;
    const std::string file = folder.in("missing/screen.png");
    const Finished result =
        take_picture({"screenshot", "-o", file}, plain_request, bytes("01 00 00 00 'x'"));
    expect_failure(result, 1, "",
                   "tvlink-ctl: cannot write " + file + ": No such file or directory");
    const Finished folder_itself =
        take_picture({"screenshot", "-o", folder.in(".")}, plain_request, bytes("01 00 00 00 'x'"));
    EXPECT_EQ(folder_itself.status, 1);
    EXPECT_EQ(folder.names(), Words{});
}

TEST(CtlScreenshot, NeedsAFile)
{
    EXPECT_EQ(local_ctl({"screenshot"}).status, 2);
    EXPECT_EQ(local_ctl({"screenshot", "-o", "x", "--width", "65536"}).status, 2);
}

} // namespace
