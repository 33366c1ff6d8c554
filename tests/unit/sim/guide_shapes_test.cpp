/* SPDX-License-Identifier: MIT */
/* Guides as they are found: each loads, and what was mended is counted in a remark. */
#include "xmltv.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <zlib.h>

#include "ampersands.h"
#include "input_error.h"

using namespace sim;

namespace
{

/* The schedules of these channels are shown. */
const std::vector<Channel> &shape_channels()
{
    static const std::vector<Channel> channels = {{1, "A", "", "a.ex", ""},
                                                  {2, "B", "", "b.ex", ""}};
    return channels;
}

constexpr uint32_t ten = 1767261600; /* 1 January 2026, 10:00 UTC */

/* A line for each programme, "channel|minutes since ten|minutes|title|category|description", then
 * one for each remark. */
std::string shown_guide(const ReadGuide &read)
{
    std::string lines;
    for (const Channel &channel : shape_channels()) {
        for (const Programme &programme : schedule_of(read.guide, channel)) {
            const int64_t minutes = (int64_t{programme.start} - ten) / 60;
            lines += channel.name + "|" + std::to_string(minutes) + "|" +
                     std::to_string(programme.duration / 60) + "|" + programme.title + "|" +
                     programme.category + "|" + programme.description + "\n";
        }
    }
    for (const std::string &remark : read.remarks) {
        lines += remark + "\n";
    }
    return lines;
}

std::string loaded_guide(const std::string &text, const std::string &language = "")
{
    try {
        return shown_guide(
            parse_guide(block_of(text), {&shape_channels(), false, language, Strictness::LENIENT}));
    } catch (const InputError &error) {
        return "refused " + std::to_string(error.line) + ": " + error.what();
    }
}

/* "number|name|guide_id" of the channels that a guide brings itself, then the remarks. */
std::string own_channels(const std::string &text, const std::string &language = "")
{
    const ReadGuide read =
        parse_guide(block_of(text), {&shape_channels(), true, language, Strictness::LENIENT});
    std::string lines;
    for (const Channel &channel : read.channels) {
        lines +=
            std::to_string(channel.number) + "|" + channel.name + "|" + channel.guide_id + "\n";
    }
    for (const std::string &remark : read.remarks) {
        lines += remark + "\n";
    }
    return lines;
}

struct GuideShape {
    const char *shape;
    std::string text;
    std::string expected;
};

void expect_guides(const std::vector<GuideShape> &rows)
{
    for (const GuideShape &row : rows) {
        EXPECT_EQ(loaded_guide(row.text), row.expected) << row.shape;
    }
}

/* A programme of channel A in a line, with these hours and minutes of 1 January 2026. */
std::string from_to(const std::string &start, const std::string &stop, const std::string &title)
{
    return "<programme start=\"20260101" + start + "00\"" +
           (stop.empty() ? "" : " stop=\"20260101" + stop + "00\"") + " channel=\"a.ex\"><title>" +
           title + "</title></programme>\n";
}

std::string whole(const std::string &content)
{
    return "<tv>\n" + content + "</tv>\n";
}

/* One programme, with these elements. */
std::string with_elements(const std::string &elements)
{
    return whole("<programme start=\"20260101100000\" channel=\"a.ex\">" + elements +
                 "</programme>");
}

std::string zipped(const std::string &text)
{
    z_stream stream = {};
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY),
              Z_OK);
    std::string out(deflateBound(&stream, text.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef *>(&out[0]);
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

TEST(GuideShapes, TimesThatDoNotFit)
{
    const std::string good = from_to("1000", "1100", "Good");
    expect_guides({
        {"an end before the start", whole(good + from_to("1200", "1130", "Bad")),
         "A|0|60|Good||\n1 programme skipped, at line 3: ends before it starts\n"},
        {"an end that is the start",
         whole(from_to("1200", "1200", "Bad") + from_to("1200", "1200", "Bad") + good),
         "A|0|60|Good||\n2 programmes skipped, the first at line 2: ends before it starts\n"},
        {"no end", whole(from_to("1000", "", "A") + from_to("1045", "", "B")),
         "A|0|45|A||\nA|45|30|B||\n"},
        {"no end, and two that start together",
         whole(from_to("1000", "", "A") + from_to("1000", "", "B") + from_to("1030", "1100", "C")),
         "A|0|30|A||\nA|0|30|B||\nA|30|30|C||\n"},
        {"an end that is no time", whole(from_to("1000", "25", "A") + from_to("1030", "1100", "B")),
         "A|0|30|A||\nA|30|30|B||\n1 programme ends when the next one starts, at line 2: stop is "
         "no "
         "time such as 20261121201500 +0100\n"},
        {"an overlap", whole(from_to("1000", "1130", "A") + from_to("1100", "1200", "B")),
         "A|0|60|A||\nA|60|60|B||\n"
         "1 programme shortened: the next one on the channel starts before its end\n"},
        {"one that covers several others",
         whole(from_to("1000", "1200", "A") + from_to("1030", "1045", "B") +
               from_to("1045", "1100", "C")),
         "A|0|30|A||\nA|30|15|B||\nA|45|15|C||\n"
         "1 programme shortened: the next one on the channel starts before its end\n"},
        {"the same programme twice", whole(good + good), "A|0|60|Good||\nA|0|60|Good||\n"},
        {"not in order", whole(from_to("1100", "1200", "B") + good),
         "A|0|60|Good||\nA|60|60|B||\n"},
        {"a start that is no time", whole(from_to("9", "1100", "A") + good),
         "A|0|60|Good||\n1 programme skipped, at line 2: start is no time such as 20261121201500 "
         "+0100\n"},
    });
}

TEST(GuideShapes, ZonesOfTimes)
{
    const auto at = [](const std::string &zone) {
        return loaded_guide(whole("<programme start=\"20260101100000" + zone +
                                  "\" channel=\"a.ex\"><title>T</title></programme>"));
    };
    EXPECT_EQ(at(""), "A|0|30|T||\n");
    EXPECT_EQ(at(" Z"), "A|0|30|T||\n");
    EXPECT_EQ(at("Z"), "A|0|30|T||\n");
    EXPECT_EQ(at(" GMT"), "A|0|30|T||\n");
    EXPECT_EQ(at(" BST"), "A|-60|30|T||\n");
    EXPECT_EQ(at(" CET"), "A|-60|30|T||\n");
    EXPECT_EQ(at(" EST"), "A|300|30|T||\n");
    EXPECT_EQ(at(" -0330"), "A|210|30|T||\n");
    EXPECT_EQ(at("+01:00"), "A|-60|30|T||\n");
}

TEST(GuideShapes, EntriesThatLackSomething)
{
    const std::string good = from_to("1000", "1100", "Good");
    expect_guides({
        {"no title", whole("<programme start=\"20260101100000\" channel=\"a.ex\"/>\n" + good),
         "A|0|60|Good||\n1 programme skipped, at line 2: without a title\n"},
        {"an empty title in front of one that is not",
         with_elements("<title/><title> </title><title>T</title>"), "A|0|30|T||\n"},
        {"no channel",
         whole("<programme start=\"20260101100000\"><title>T</title></programme>\n" + good),
         "A|0|60|Good||\n1 programme skipped, at line 2: without a channel\n"},
        {"no programmes", "<tv generator-info-name=\"x\"></tv>", ""},
        {"other elements between the programmes",
         whole("<source/><programmes>" + good + "</programmes>" + good), "A|0|60|Good||\n"},
        {"a pretty printed one",
         "<?xml version='1.0'?>\n<tv>\n  <programme\n    start='20260101100000'\n"
         "    channel='a.ex'\n  >\n    <title>\n      T\n    </title>\n  </programme>\n</tv>\n",
         "A|0|30|T||\n"},
        {"one in a single line, with icons and credits",
         with_elements("<icon src=\"http://i.example.org/a.png\"/><credits><actor>X</actor>"
                       "<title>No</title></credits><title>T</title><rating system=\"s\"><value>9"
                       "</value></rating><category>C</category>"),
         "A|0|30|T|C|\n"},
        {"markup within a text", with_elements("<title>T<b>bold</b>!</title>"), "A|0|30|T!||\n"},
    });
}

TEST(GuideShapes, TheDocumentAround)
{
    const std::string good = from_to("1000", "1100", "Good");
    const std::string type = "<!DOCTYPE tv SYSTEM \"http://dtd.example.org/xmltv.dtd\">\n";
    expect_guides({
        {"a document type elsewhere", type + whole(good), "A|0|60|Good||\n"},
        {"an entity of a document type elsewhere", type + with_elements("<title>A&nbsp;B</title>"),
         "A|0|30|A&nbsp;B||\n"},
        {"an entity that nothing declares", with_elements("<title>Caf&eacute;</title>"),
         "A|0|30|Caf&eacute;||\n"},
        {"a document type within",
         "<!DOCTYPE tv [<!ELEMENT tv ANY><!ENTITY e \"yes\">]>" +
             with_elements("<title>&e;</title>"),
         "A|0|30|yes||\n"},
        {"a style sheet and comments", "<?xml-stylesheet href=\"a.xsl\"?><!-- x -->" + whole(good),
         "A|0|60|Good||\n"},
        {"empty lines in front",
         "\r\n\n<?xml version=\"1.0\"?>\n" + whole("\n" + from_to("9", "", "x")),
         "1 programme skipped, at line 6: start is no time such as 20261121201500 +0100\n"},
        {"a control character in a title",
         with_elements("<title>A\x0B"
                       "B\x1F</title>"),
         "A|0|30|A B||\n"},
        {"a file that ends too early", "<tv>\n" + good + "<programme start=\"2026",
         "A|0|60|Good||\nthe rest of the file from line 3 on is left out: this is no XML: unclosed "
         "token\n"},
        {"ampersands alone",
         whole("<programme start=\"20260101100000\" channel=\"a.ex\"><icon src=\"u?a=1&b=2\"/>"
               "<title>R & B &amp; R&B &lt;&#65;&</title><desc><![CDATA[a & b ]] &c]]> &</desc>"
               "</programme>"),
         "A|0|30|R & B & R&B <A&||a & b ]] &c &\n"
         "5 ampersands taken for themselves: in XML it is written &amp;\n"},
        {"an angle bracket alone", "<tv>\n" + good + "<a>1 < 2</a></tv>",
         "A|0|60|Good||\nthe rest of the file from line 3 on is left out: this is no XML: not "
         "well-formed (invalid token)\n"},
        {"a page of the web", "<html><body/></html>", "refused 1: a guide is one element <tv>"},
        {"an empty file", "", "refused 1: a guide is one element <tv>"},
    });
}

TEST(GuideShapes, Encodings)
{
    const std::string cafe = "A|0|30|Caf\xC3\xA9||\n";
    const std::string latin = with_elements("<title>Caf\xE9</title>");
    const auto declared = [&](const std::string &name, const std::string &text) {
        return loaded_guide("<?xml version=\"1.0\" encoding=\"" + name + "\"?>" + text);
    };
    EXPECT_EQ(declared("ISO-8859-1", latin), cafe);
    EXPECT_EQ(declared("windows-1252", with_elements("<title>5 \x80</title>")),
              "A|0|30|5 \xE2\x82\xAC||\n");
    EXPECT_EQ(declared("iso-8859-15", with_elements("<title>5 \xA4</title>")),
              "A|0|30|5 \xE2\x82\xAC||\n");
    EXPECT_EQ(declared("windows-1251", with_elements("<title>\xC0</title>")),
              "A|0|30|\xD0\x90||\n");
    EXPECT_EQ(declared("UTF-8", latin),
              cafe + "1 byte taken for windows-1252, at line 2: not UTF-8\n");
    EXPECT_EQ(declared("UTF-16", with_elements("<title>Caf\xC3\xA9</title>")), cafe);
    EXPECT_EQ(declared("unheard-of", with_elements("<title>Caf\xC3\xA9</title>")), cafe);
    EXPECT_EQ(loaded_guide(latin), cafe + "1 byte taken for windows-1252, at line 2: not UTF-8\n");
}

TEST(GuideShapes, Utf16InBothOrders)
{
    for (const bool big_endian : {false, true}) {
        std::string text = big_endian ? "\xFE\xFF" : "\xFF\xFE";
        for (const char letter : "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" +
                                     with_elements("<title>Caf\xE9</title>")) {
            text += big_endian ? std::string(1, '\0') + letter : letter + std::string(1, '\0');
        }
        EXPECT_EQ(loaded_guide(text), "A|0|30|Caf\xC3\xA9||\n");
    }
}

TEST(GuideShapes, CompressedFiles)
{
    const std::string text = whole(from_to("1000", "1100", "T"));
    const std::string expected = "A|0|60|T||\n";
    const std::string file = zipped(text);
    EXPECT_EQ(loaded_guide(file), expected);
    EXPECT_EQ(loaded_guide(zipped(text.substr(0, 50)) + zipped(text.substr(50))), expected)
        << "several members";
    EXPECT_EQ(loaded_guide(file + std::string(100, '\0')), expected) << "padding";
    EXPECT_EQ(loaded_guide(file.substr(0, 15)), "refused 0: the compressed data ends too early");
    std::string damaged =
        zipped(whole(from_to("1000", "1100", "T") + "<!-- " + std::string(1000, 'x') + " -->\n"));
    damaged[damaged.size() - 6] = static_cast<char>(damaged[damaged.size() - 6] ^ 1);
    EXPECT_EQ(loaded_guide(damaged),
              expected + "the rest of the file from line 2 on is left out: the compressed data is "
                         "damaged\n");
}

TEST(GuideShapes, TextsInSeveralLanguages)
{
    const std::string text = with_elements("<title lang=\"fr\">Un</title><title lang=\"en-GB\">One"
                                           "</title><title lang=\"en\">First</title>"
                                           "<category lang=\"fr\">Film</category>"
                                           "<desc lang=\"EN\">Told</desc>");
    EXPECT_EQ(loaded_guide(text), "A|0|30|Un|Film|Told\n");
    EXPECT_EQ(loaded_guide(text, "fr"), "A|0|30|Un|Film|Told\n");
    EXPECT_EQ(loaded_guide(text, "en"), "A|0|30|One|Film|Told\n");
    EXPECT_EQ(loaded_guide(text, "EN-gb"), "A|0|30|One|Film|Told\n");
    EXPECT_EQ(loaded_guide(text, "e"), "A|0|30|Un|Film|Told\n");
    EXPECT_EQ(loaded_guide(text, "de"), "A|0|30|Un|Film|Told\n");
}

TEST(GuideShapes, ChannelsOfTheGuideItself)
{
    const std::string text =
        "<channel id=\"x\"><display-name lang=\"fr\">Le X</display-name>"
        "<display-name lang=\"en\">The X</display-name><icon src=\"i\"/><url>u</url></channel>\n"
        "<channel id=\"y\"/>\n<channel id=\"x\"/>\n<channel/>\n";
    const std::string faults = "1 channel skipped, at line 4: its id is there already\n"
                               "1 channel skipped, at line 5: without an id\n";
    EXPECT_EQ(own_channels(whole(text)), "1|Le X|x\n2|y|y\n" + faults);
    EXPECT_EQ(own_channels(whole(text), "en"), "1|The X|x\n2|y|y\n" + faults);
    EXPECT_EQ(own_channels(whole("")), "");
    EXPECT_EQ(loaded_guide(whole(text)), "") << "not wished for, and not looked at";
}

TEST(GuideShapes, ProgrammesOfTheGuidesOwnChannels)
{
    const std::string text =
        whole("<channel id=\"b.ex\"/>" + from_to("1000", "1100", "A") +
              "<programme start=\"20260101100000\" channel=\"b.ex\"><title>B</title></programme>");
    const ReadGuide read =
        parse_guide(block_of(text), {&shape_channels(), true, "", Strictness::LENIENT});
    EXPECT_EQ(shown_guide(read), "B|0|30|B||\n");
    EXPECT_EQ(read.of_other_channels, 1u);
}

TEST(GuideShapes, TextsAreCutToWhatAListTells)
{
    std::string description;
    for (int i = 0; i < 501; i++) {
        description += "\xC3\xA9";
    }
    const std::string text = with_elements("<title>" + std::string(70000, 't') + "</title><desc>" +
                                           description + "</desc>");
    const ReadGuide read =
        parse_guide(block_of(text), {&shape_channels(), false, "", Strictness::LENIENT});
    const Programme &programme = read.guide.schedules.at("a.ex")[0];
    EXPECT_EQ(programme.title, std::string(255, 't'));
    EXPECT_EQ(programme.description.size(), 1000u);
    EXPECT_EQ(read.cut.titles, 1u);
    EXPECT_EQ(read.cut.categories, 0u);
    EXPECT_EQ(read.cut.descriptions, 1u);
}

/* What would cost memory or stack without a bound is refused. */
TEST(GuideShapes, HostileOnes)
{
    std::string deep = "<tv>";
    std::string entities = "<!DOCTYPE tv [<!ENTITY e0 \"x\">";
    for (int i = 1; i < 100000; i++) {
        deep += "<a>";
        entities += "<!ENTITY e" + std::to_string(i) + " \"&e" + std::to_string(i - 1) + ";\">\n";
    }
    EXPECT_EQ(loaded_guide(deep), "refused 1: elements inside each other more than 64 deep");
    EXPECT_EQ(loaded_guide(entities + "]>" + with_elements("<title>&e99999;</title>")),
              "refused 64: more than 64 entities");
    EXPECT_EQ(loaded_guide("<tv><!-- " + std::string(5000000, 'x')),
              "refused 1: a tag longer than 4194304 bytes");
    std::string laughs = "<!DOCTYPE tv [<!ENTITY e0 \"0123456789012345678901234567890123456789\">";
    for (int i = 1; i < 20; i++) {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        laughs += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; k++) {
            laughs += inner;
        }
        laughs += "\">";
    }
    EXPECT_EQ(loaded_guide(laughs + "]>" + with_elements("<title>&e19;</title>"))
                  .find("refused 2: this is no XML: limit on input amplification"),
              0u);
}

TEST(GuideShapes, DoNotDependOnTheSizeOfABlock)
{
    const std::string text = with_elements("<title>\xE2\x82\xAC &amp; \xF0\x9F\x93\xBA</title>");
    for (const std::string &file : {text, zipped(text), "\xEF\xBB\xBF" + text}) {
        for (size_t size = 1; size < 8; size++) {
            const ReadBlock all = block_of(file);
            const ReadGuide read =
                parse_guide([&](char *to, size_t room) { return all(to, std::min(size, room)); },
                            {&shape_channels(), false, "", Strictness::STRICT});
            EXPECT_EQ(shown_guide(read), "A|0|30|\xE2\x82\xAC & \xF0\x9F\x93\xBA||\n");
        }
    }
}

TEST(GuideShapes, AmpersandsAreMendedAcrossBlocks)
{
    const std::string text = "<tv><![CDATA[&]]>&amp;& &x;&#1;&#;</tv>&<![CD&<!";
    const std::string mended = "<tv><![CDATA[&]]>&amp;&amp; &x;&#1;&amp;#;</tv>&amp;<![CD&amp;<!";
    for (size_t size = 1; size <= text.size(); size++) {
        Ampersands state;
        std::string result;
        for (size_t at = 0; at < text.size(); at += size) {
            result += mend_ampersands(state, text.substr(at, size), false);
        }
        result += mend_ampersands(state, "", true);
        EXPECT_EQ(result, mended) << size;
        EXPECT_EQ(state.mended, 4u);
    }
}

} // namespace
