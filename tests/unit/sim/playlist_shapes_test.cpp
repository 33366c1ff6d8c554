/* SPDX-License-Identifier: MIT */
/* Playlists as they are found: each loads, and what was mended is counted in a remark. */
#include "playlist.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "input_error.h"

using namespace sim;

namespace
{

/* A line for each channel, "number|name|group|guide_id|address", then one for each remark. */
std::string loaded_playlist(const std::string &text)
{
    std::string lines;
    try {
        const ReadPlaylist read = parse_playlist(block_of(text), Strictness::LENIENT);
        for (const Channel &channel : read.channels) {
            lines += std::to_string(channel.number) + "|" + channel.name + "|" + channel.group +
                     "|" + channel.guide_id + "|" + channel.address + "\n";
        }
        for (const std::string &remark : read.remarks) {
            lines += remark + "\n";
        }
    } catch (const InputError &error) {
        lines = "refused " + std::to_string(error.line) + ": " + error.what();
    }
    return lines;
}

struct PlaylistShape {
    const char *shape;
    std::string text;
    std::string expected;
};

void expect_playlists(const std::vector<PlaylistShape> &rows)
{
    for (const PlaylistShape &row : rows) {
        EXPECT_EQ(loaded_playlist(row.text), row.expected) << row.shape;
    }
}

/* The text as UTF-16; all characters are below 0x100. */
std::string as_utf16(const std::string &latin, bool big_endian)
{
    std::string text;
    for (const char letter : latin) {
        text += big_endian ? std::string(1, '\0') + letter : letter + std::string(1, '\0');
    }
    return text;
}

const std::string HEAD = "#EXTM3U\n";
const std::string A = "#EXTINF:-1,Alpha\nhttp://a\n";
const std::string ANEW = "tvg-chno is no number from 1 to 65535\n";

TEST(PlaylistShapes, NumbersThatCannotBeUsed)
{
    expect_playlists({
        {"a number with a part behind a point", HEAD + "#EXTINF:-1 tvg-chno=\"22.1\",A\nhttp://a\n",
         "1|A|||http://a\n1 channel numbered anew, at line 2: " + ANEW},
        {"a number with the letters of a satellite",
         HEAD + A + "#EXTINF:-1 tvg-chno=\"BS236\",B\nhttp://b\n",
         "1|Alpha|||http://a\n2|B|||http://b\n1 channel numbered anew, at line 4: " + ANEW},
        {"a hyphen and an empty number",
         HEAD + "#EXTINF:-1 tvg-chno=\"-\",A\nhttp://a\n#EXTINF:-1 tvg-chno=\"\",B\nhttp://b\n",
         "1|A|||http://a\n2|B|||http://b\n2 channels numbered anew, the first at line 2: " + ANEW},
        {"a number that is there already",
         HEAD + "#EXTINF:-1 tvg-chno=\"1\",A\nhttp://a\n#EXTINF:-1 tvg-chno=\"1\",B\nhttp://b\n",
         "1|A|||http://a\n2|B|||http://b\n"
         "1 channel numbered anew, at line 4: the number is there already\n"},
        {"zero, and a number that is too large",
         HEAD + "#EXTINF:-1 tvg-chno=\"0\",A\nhttp://a\n"
                "#EXTINF:-1 tvg-chno=\"100000\",B\nhttp://b\n",
         "1|A|||http://a\n2|B|||http://b\n2 channels numbered anew, the first at line 2: " + ANEW},
        {"a number with blanks around it", HEAD + "#EXTINF:-1 tvg-chno=\" 7 \",A\nhttp://a\n",
         "7|A|||http://a\n"},
        {"a number of a channel without an address is free",
         HEAD + "#EXTINF:-1 tvg-chno=\"5\",A\n#EXTINF:-1 tvg-chno=\"5\",B\nhttp://b\n",
         "5|B|||http://b\n1 channel skipped, at line 2: without an address\n"},
    });
}

TEST(PlaylistShapes, AttributesInEveryStyle)
{
    expect_playlists({
        {"repeated attributes, of which the first counts",
         HEAD + "#EXTINF:-1 tvg-id=\"a\" tvg-id=\"b\" group-title=\"G\" group-title=\"H\",A\nx\n",
         "1|A|G|a|x\n"},
        {"values without quotation marks",
         HEAD + "#EXTINF:-1 tvg-id=a.ex tvg-chno=9 group-title=News,A\nx\n", "9|A|News|a.ex|x\n"},
        {"values in single quotation marks",
         HEAD + "#EXTINF:-1 tvg-id='a, b' group-title='The \"G\"',A\nx\n",
         "1|A|The \"G\"|a, b|x\n"},
        {"blanks around the equals sign",
         HEAD + "#EXTINF:-1 tvg-id = \"a\" tvg-chno =3 group-title= \"G\",A\nx\n", "3|A|G|a|x\n"},
        {"escaped quotation marks",
         HEAD + "#EXTINF:-1 group-title=\"The \\\"Best\\\", all\",A\nx\n",
         "1|A|The \"Best\", all||x\n"},
        {"a backslash as the last letter of a value",
         HEAD + "#EXTINF:-1 group-title=\"C:\\\",A\nx\n", "1|A|C:\\||x\n"},
        {"a missing quotation mark", HEAD + "#EXTINF:-1 tvg-id=\"a group-title=News,A\nx\n",
         "1|A||a group-title=News|x\n"
         "1 attribute read up to a comma, at line 2: a quotation mark is missing\n"},
        {"an empty value in front of the next attribute",
         HEAD + "#EXTINF:-1 tvg-id= group-title=G,A\nx\n", "1|A|G||x\n"},
        {"attributes in capitals", HEAD + "#EXTINF:-1 TVG-ID=\"a\" Group-Title=\"G\",A\nx\n",
         "1|A|G|a|x\n"},
        {"attributes side by side", HEAD + "#EXTINF:-1 tvg-id=\"a\"group-title=\"G\",A\nx\n",
         "1|A|G|a|x\n"},
        {"words between the attributes",
         HEAD + "#EXTINF:-1 tvg-id=\"a\" new! group-title=\"G\",A\nx\n", "1|A|G|a|x\n"},
        {"an unknown attribute with an address that has equals signs",
         HEAD + "#EXTINF:-1 tvg-logo=http://l.example.org/?a=b&c=d tvg-id=\"a\",A\nx\n",
         "1|A||a|x\n"},
        {"an equals sign alone", HEAD + "#EXTINF:-1 = \"x\" ,A\nx\n", "1|A|||x\n"},
    });
}

TEST(PlaylistShapes, TheDirectiveInEveryStyle)
{
    expect_playlists({
        {"a blank behind the colon", HEAD + "#EXTINF: -1,A\nx\n", "1|A|||x\n"},
        {"blanks around the comma", HEAD + "#EXTINF:-1 , A \nx\n", "1|A|||x\n"},
        {"a length with a fraction", HEAD + "#EXTINF:10.5,A\nx\n", "1|A|||x\n"},
        {"no length", HEAD + "#EXTINF:tvg-id=\"a\",A\nx\n", "1|A||a|x\n"},
        {"a length that is stuck to the first attribute", HEAD + "#EXTINF:-1tvg-id=\"a\",A\nx\n",
         "1|A||a|x\n"},
        {"tabulators", HEAD + "#EXTINF:-1\ttvg-id=\"a\"\t,\tA\nx\n", "1|A||a|x\n"},
        {"commas in the name", HEAD + "#EXTINF:-1,A, B, and C\nx\n", "1|A, B, and C|||x\n"},
        {"no comma in front of the name", HEAD + "#EXTINF:-1 tvg-id=\"a\" News at Ten\nx\n",
         "1|News at Ten||a|x\n"},
        {"an empty name, and a tvg-name", HEAD + "#EXTINF:-1 tvg-name=\"The A\",\nx\n",
         "1|The A|||x\n1 channel named after its tvg-name or its address, at line 2: the name is "
         "empty\n"},
        {"an empty name, and an address with a path",
         HEAD + "#EXTINF:-1,\nhttp://192.0.2.7/live/one.ts?token=a/b\n",
         "1|one.ts|||http://192.0.2.7/live/one.ts?token=a/b\n"
         "1 channel named after its tvg-name or its address, at line 2: the name is empty\n"},
        {"an empty name, and an address that ends in a slash",
         HEAD + "#EXTINF:-1,\nhttp://192.0.2.7:8080/\n",
         "1|192.0.2.7:8080|||http://192.0.2.7:8080/\n"
         "1 channel named after its tvg-name or its address, at line 2: the name is empty\n"},
    });
}

TEST(PlaylistShapes, LinesThatAreMissingOrTooMany)
{
    expect_playlists({
        {"two #EXTINF in a row", HEAD + "#EXTINF:-1,A\n#EXTINF:-1,B\nx\n",
         "1|B|||x\n1 channel skipped, at line 2: without an address\n"},
        {"an #EXTINF at the end", HEAD + A + "#EXTINF:-1,B\n",
         "1|Alpha|||http://a\n1 channel skipped, at line 4: without an address\n"},
        {"an address without #EXTINF", HEAD + A + "udp://192.0.2.1:1234\nrtp://192.0.2.2:5004\n",
         "1|Alpha|||http://a\n2|192.0.2.1:1234|||udp://192.0.2.1:1234\n"
         "3|192.0.2.2:5004|||rtp://192.0.2.2:5004\n"
         "2 channels named after their address, the first at line 4: no #EXTINF before it\n"},
        {"no header", A,
         "1|Alpha|||http://a\n1 header missing, at line 1: a playlist begins with #EXTM3U\n"},
        {"an empty first line", "\n \n" + HEAD + A, "1|Alpha|||http://a\n"},
        {"addresses alone", "http://a.example.org/one\nhttp://a.example.org/two\n",
         "1|one|||http://a.example.org/one\n2|two|||http://a.example.org/two\n"
         "1 header missing, at line 1: a playlist begins with #EXTM3U\n"
         "2 channels named after their address, the first at line 1: no #EXTINF before it\n"},
        {"a line of prose", HEAD + "Updated on Monday\n" + A,
         "1|Alpha|||http://a\n1 line skipped, at line 2: neither an address nor a comment\n"},
        {"the header twice", HEAD + A + HEAD + "#EXTINF:-1,B\nhttp://b\n",
         "1|Alpha|||http://a\n2|B|||http://b\n"},
        {"no line end at the end", HEAD + "#EXTINF:-1,A\nhttp://a", "1|A|||http://a\n"},
        {"a page of the web", "<html>\n<body>\n<a href=\"http://a\">Not found</a>\n</html>\n",
         "refused 4: no channels"},
    });
}

TEST(PlaylistShapes, DirectivesOfPlayers)
{
    expect_playlists({
        {"a group in a line of its own", HEAD + "#EXTINF:-1,A\n#EXTGRP:News\nx\n#EXTINF:-1,B\ny\n",
         "1|A|News||x\n2|B|||y\n"},
        {"a group in both places", HEAD + "#EXTINF:-1 group-title=\"Title\",A\n#EXTGRP: Line\nx\n",
         "1|A|Title||x\n"},
        {"options for players",
         HEAD + "#EXTINF:-1,A\n#EXTVLCOPT:http-user-agent=Player/1.0\n"
                "#KODIPROP:inputstream=adaptive\nx\n",
         "1|A|||x\n"},
        {"comments, and a part of a cue sheet", HEAD + "#PLAYLIST:All\n# by hand\n" + A,
         "1|Alpha|||http://a\n"},
        {"a guide in the header",
         "#EXTM3U url-tvg=\"http://guide.example.org/a.xml.gz\" refresh=\"3600\"\n" + A,
         "1|Alpha|||http://a\nthe playlist names a guide, which is not fetched: "
         "\"http://guide.example.org/a.xml.gz\"\n"},
        {"a guide in the header under its other name",
         "#EXTM3U m3uautoload=1 x-tvg-url=http://guide.example.org/b.xml\n" + A,
         "1|Alpha|||http://a\nthe playlist names a guide, which is not fetched: "
         "\"http://guide.example.org/b.xml\"\n"},
        {"options of a player behind the address",
         HEAD + "#EXTINF:-1,\nhttp://a/b.ts|User-Agent=x\n",
         "1|b.ts|||http://a/b.ts|User-Agent=x\n"
         "1 channel named after its tvg-name or its address, at line 2: the name is empty\n"},
    });
}

TEST(PlaylistShapes, EncodingsAndLineEnds)
{
    const std::string latin = "#EXTM3U\n#EXTINF:-1,Caf\xE9\nhttp://a\n";
    const std::string mark = "\xEF\xBB\xBF";
    const std::string cafe = "1|Caf\xC3\xA9|||http://a\n";
    expect_playlists({
        {"Latin-1", latin, cafe + "1 byte taken for windows-1252, at line 2: not UTF-8\n"},
        {"Latin-1 in one line and UTF-8 in another",
         HEAD + "#EXTINF:-1,\xC3\xA9\xE9\x80\nhttp://a\n",
         "1|\xC3\xA9\xC3\xA9\xE2\x82\xAC|||http://a\n"
         "2 bytes taken for windows-1252, the first at line 2: not UTF-8\n"},
        {"UTF-8 with a byte order mark", mark + HEAD + A, "1|Alpha|||http://a\n"},
        {"UTF-16, little-endian, with a mark", "\xFF\xFE" + as_utf16(latin, false), cafe},
        {"UTF-16, big-endian, with a mark", "\xFE\xFF" + as_utf16(latin, true), cafe},
        {"UTF-16, little-endian, without a mark", as_utf16(latin, false), cafe},
        {"UTF-16, big-endian, without a mark", as_utf16(latin, true), cafe},
        {"UTF-16 that ends in the middle of a character", "\xFF\xFE" + as_utf16(latin, false) + "a",
         cafe + "1 character lost, at line 4: not of the file's encoding\n"
                "1 line skipped, at line 4: neither an address nor a comment\n"},
        {"lines that end in CR", "#EXTM3U\r#EXTINF:-1,A\rhttp://a\r", "1|A|||http://a\n"},
        {"lines that end in CR and LF", "#EXTM3U\r\n#EXTINF:-1,A\r\nhttp://a\r\n",
         "1|A|||http://a\n"},
        {"a zero in a name", HEAD + std::string("#EXTINF:-1,A\0B\nx\n", 17), "1|A B|||x\n"},
    });
}

TEST(PlaylistShapes, LineNumbersCountEveryKindOfLineEnd)
{
    for (const char *end : {"\n", "\r", "\r\n"}) {
        const std::string text = std::string("#EXTM3U") + end + end + "#EXTINF:-1,A" + end + "x" +
                                 end + "#EXTINF:-1,\xE9" + end;
        EXPECT_EQ(loaded_playlist(text),
                  "1|A|||x\n1 byte taken for windows-1252, at line 5: not UTF-8\n"
                  "1 channel skipped, at line 5: without an address\n");
    }
}

/* Blocks end anywhere, also between CR and LF and within a character. */
TEST(PlaylistShapes, DoNotDependOnTheSizeOfABlock)
{
    const std::string text =
        "\xEF\xBB\xBF#EXTM3U\r\n#EXTINF:-1,\xE2\x82\xAC \xF0\x9F\x93\xBA\r\nhttp://a\r\n";
    for (size_t size = 1; size < 8; size++) {
        const ReadBlock whole = block_of(text);
        const ReadPlaylist read =
            parse_playlist([&](char *to, size_t room) { return whole(to, std::min(size, room)); },
                           Strictness::STRICT);
        ASSERT_EQ(read.channels.size(), 1u);
        EXPECT_EQ(read.channels[0].name, "\xE2\x82\xAC \xF0\x9F\x93\xBA");
        EXPECT_EQ(read.channels[0].address, "http://a");
    }
}

TEST(PlaylistShapes, FiftyThousandChannelsWithRepeatedNumbers)
{
    std::string text = HEAD;
    for (int i = 0; i < 50000; i++) {
        text += "#EXTINF:-1 tvg-id=\"c" + std::to_string(i) + "\" tvg-chno=\"1\",C\nhttp://a\n";
    }
    const ReadPlaylist read = parse_playlist(block_of(text), Strictness::LENIENT);
    ASSERT_EQ(read.channels.size(), 50000u);
    EXPECT_EQ(read.channels[49999].number, 50000);
    EXPECT_EQ(
        read.remarks,
        std::vector<std::string>{
            "49999 channels numbered anew, the first at line 4: the number is there already"});
}

TEST(PlaylistShapes, MoreChannelsThanThereAreNumbers)
{
    std::string text = HEAD;
    for (int i = 0; i < 65540; i++) {
        text += "#EXTINF:-1,A\na\n";
    }
    const ReadPlaylist read = parse_playlist(block_of(text), Strictness::LENIENT);
    EXPECT_EQ(read.channels.size(), 65535u);
    EXPECT_EQ(read.remarks,
              std::vector<std::string>{
                  "5 channels skipped, the first at line 131072: there are more than 65535"});
}

} // namespace
