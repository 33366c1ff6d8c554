/* SPDX-License-Identifier: MIT */
#include "text_blocks.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>

#include <iconv.h>

#include "input_error.h"
#include "utf8.h"

namespace sim
{

namespace
{

constexpr size_t text_block = 65536;
constexpr size_t max_declaration = 512; /* bytes in which an XML file declares its encoding */
constexpr size_t longest_character = 4;

const FaultKind foreign_byte = {"byte taken for windows-1252", "bytes taken for windows-1252",
                                "not UTF-8"};
const FaultKind lost_bytes = {"character lost", "characters lost", "not of the file's encoding"};

enum class Coding : uint8_t { UTF_8, WINDOWS_1252, OTHER };

struct Encoding {
    Coding coding;
    const char *name; /* for iconv; only of OTHER */
    size_t mark;      /* bytes of the byte order mark */
    size_t unit;      /* bytes that the shortest character has */
};

struct KnownEncoding {
    const char *name;
    Coding coding;
};

/* The encodings that an XML file may declare. Those of UTF-16 are not among them: a file whose
 * declaration can be read as it is has another encoding, whatever it says. */
const KnownEncoding known_encodings[] = {
    {"ISO-8859-1", Coding::WINDOWS_1252},
    {"ISO8859-1", Coding::WINDOWS_1252},
    {"ISO_8859-1", Coding::WINDOWS_1252},
    {"LATIN1", Coding::WINDOWS_1252},
    {"LATIN-1", Coding::WINDOWS_1252},
    {"WINDOWS-1252", Coding::WINDOWS_1252},
    {"CP1252", Coding::WINDOWS_1252},
    {"ISO-8859-2", Coding::OTHER},
    {"ISO-8859-3", Coding::OTHER},
    {"ISO-8859-4", Coding::OTHER},
    {"ISO-8859-5", Coding::OTHER},
    {"ISO-8859-6", Coding::OTHER},
    {"ISO-8859-7", Coding::OTHER},
    {"ISO-8859-8", Coding::OTHER},
    {"ISO-8859-9", Coding::OTHER},
    {"ISO-8859-10", Coding::OTHER},
    {"ISO-8859-13", Coding::OTHER},
    {"ISO-8859-14", Coding::OTHER},
    {"ISO-8859-15", Coding::OTHER},
    {"ISO-8859-16", Coding::OTHER},
    {"WINDOWS-1250", Coding::OTHER},
    {"WINDOWS-1251", Coding::OTHER},
    {"WINDOWS-1253", Coding::OTHER},
    {"WINDOWS-1254", Coding::OTHER},
    {"WINDOWS-1255", Coding::OTHER},
    {"WINDOWS-1256", Coding::OTHER},
    {"WINDOWS-1257", Coding::OTHER},
    {"WINDOWS-1258", Coding::OTHER},
    {"KOI8-R", Coding::OTHER},
    {"KOI8-U", Coding::OTHER},
    {"SHIFT_JIS", Coding::OTHER},
    {"EUC-JP", Coding::OTHER},
    {"GB2312", Coding::OTHER},
    {"GBK", Coding::OTHER},
    {"BIG5", Coding::OTHER},
    {"EUC-KR", Coding::OTHER},
};

/* ---- Which encoding */

bool has_beginning(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/* The value of the declaration's encoding="..."; empty without one. */
std::string declared_encoding(const std::string &beginning)
{
    const size_t end = beginning.find("?>");
    const size_t start = beginning.find("<?xml");
    const size_t word = start == std::string::npos ? start : beginning.find("encoding", start);
    const size_t from = word < end ? beginning.find_first_of("\"'", word) : std::string::npos;
    const size_t to = from < end ? beginning.find(beginning[from], from + 1) : std::string::npos;
    return to < end ? beginning.substr(from + 1, to - from - 1) : "";
}

Encoding named_encoding(const std::string &name)
{
    const auto found = std::find_if(
        std::begin(known_encodings), std::end(known_encodings),
        [&](const KnownEncoding &known) { return tools::equal_words(known.name, name); });
    return found == std::end(known_encodings) ? Encoding{Coding::UTF_8, nullptr, 0, 1}
                                              : Encoding{found->coding, found->name, 0, 1};
}

/* Two letters of ASCII, each with a zero beside it. */
bool has_zeros(const std::string &beginning, size_t at)
{
    return beginning.size() >= 4 && beginning[at] == 0 && beginning[at + 2] == 0 &&
           beginning[1 - at] != 0 && beginning[3 - at] != 0;
}

Encoding encoding_of(const std::string &beginning, TextKind kind)
{
    if (has_beginning(beginning, "\xEF\xBB\xBF")) {
        return {Coding::UTF_8, nullptr, 3, 1};
    }
    if (has_beginning(beginning, "\xFF\xFE")) {
        return {Coding::OTHER, "UTF-16LE", 2, 2};
    }
    if (has_beginning(beginning, "\xFE\xFF")) {
        return {Coding::OTHER, "UTF-16BE", 2, 2};
    }
    if (has_zeros(beginning, 1)) {
        return {Coding::OTHER, "UTF-16LE", 0, 2};
    }
    if (has_zeros(beginning, 0)) {
        return {Coding::OTHER, "UTF-16BE", 0, 2};
    }
    return named_encoding(kind == TextKind::XML ? declared_encoding(beginning) : "");
}

/* ---- Characters */

/* Those of the bytes 0x80 to 0x9F; 0 where windows-1252 has none. */
const uint16_t windows_characters[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

void append_windows_1252(std::string &text, uint8_t byte)
{
    constexpr uint32_t replacement = 0xFFFD;
    const uint32_t mapped = byte < 0xA0 ? windows_characters[byte - 0x80] : byte;
    const uint32_t code = mapped == 0 ? replacement : mapped;
    if (code < 0x800) {
        text.push_back(static_cast<char>(0xC0 | (code >> 6)));
    } else {
        text.push_back(static_cast<char>(0xE0 | (code >> 12)));
        text.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    }
    text.push_back(static_cast<char>(0x80 | (code & 0x3F)));
}

/* The text up to here, and what is needed to continue it. */
struct Checking {
    Faults *faults;
    const TakeText *take;
    bool utf8;        /* otherwise windows-1252 */
    std::string rest; /* the beginning of a character whose other bytes are still to come */
    std::string out;
    size_t line = 1;
    bool after_return = false;
};

void flush(Checking &checking)
{
    if (!checking.out.empty()) {
        (*checking.take)(checking.out);
        checking.out.clear();
    }
}

void note_bytes(Checking &checking, const FaultKind &kind)
{
    if (checking.faults->strictness == Strictness::STRICT) {
        flush(checking); /* so that a fault in front of this one is reported first */
    }
    note_fault(*checking.faults, kind, checking.line, "this is no UTF-8 text");
}

void append_ascii(Checking &checking, char letter)
{
    const bool strict = checking.faults->strictness == Strictness::STRICT;
    const bool line_end = letter == '\n' || letter == '\r';
    if (line_end && !(letter == '\n' && checking.after_return)) {
        checking.line++;
    }
    checking.after_return = letter == '\r';
    if (letter == 0 && strict) {
        note_bytes(checking, lost_bytes);
    }
    const bool text = static_cast<uint8_t>(letter) >= 0x20 || line_end || letter == '\t';
    checking.out.push_back(text || strict ? letter : ' ');
}

/* Appends the character at `at`, which is no ASCII, and returns its length. */
size_t append_other(Checking &checking, const std::string &text, size_t at)
{
    const size_t length = checking.utf8 ? tools::character_length(text, at) : 0;
    checking.after_return = false;
    if (length > 0) {
        checking.out.append(text, at, length);
        return length;
    }
    if (checking.utf8) {
        note_bytes(checking, foreign_byte);
    }
    append_windows_1252(checking.out, static_cast<uint8_t>(text[at]));
    return 1;
}

/* Appends the letters at `at` that need no look, and returns their number. */
size_t append_plain(Checking &checking, const std::string &text, size_t at)
{
    size_t end = at;
    while (end < text.size() && text[end] >= ' ' && text[end] <= '~') {
        end++;
    }
    checking.after_return = checking.after_return && end == at;
    checking.out.append(text, at, end - at);
    return end - at;
}

void check_block(Checking &checking, const std::string &block, bool last)
{
    const std::string text = checking.rest + block;
    checking.rest.clear();
    size_t at = 0;
    while ((at += append_plain(checking, text, at)) < text.size()) {
        const bool ascii = static_cast<uint8_t>(text[at]) < 0x80;
        if (!ascii && checking.utf8 && !last && text.size() - at < longest_character) {
            checking.rest = text.substr(at);
            break;
        }
        if (ascii) {
            append_ascii(checking, text[at]);
            at++;
        } else {
            at += append_other(checking, text, at);
        }
    }
    flush(checking);
}

/* ---- Conversion */

struct Conversion {
    explicit Conversion(const Encoding &from)
        : unit(from.unit), handle(iconv_open("UTF-8", from.name))
    {
    }
    ~Conversion()
    {
        if (usable()) {
            iconv_close(handle);
        }
    }
    Conversion(const Conversion &) = delete;
    Conversion &operator=(const Conversion &) = delete;

    bool usable() const
    {
        return reinterpret_cast<intptr_t>(handle) != -1;
    }

    size_t unit;
    iconv_t handle;
    std::string rest; /* an incomplete character */
};

/* Converts from `at` up to the first fault, and advances `at`. Returns iconv's error, 0 when
 * everything is converted. */
int convert_some(const Conversion &conversion, std::string &bytes, size_t &at, std::string &out)
{
    char buffer[4096];
    char *from = &bytes[at];
    size_t left = bytes.size() - at;
    int error = E2BIG;
    while (left > 0 && error == E2BIG) {
        char *to = buffer;
        size_t room = sizeof buffer;
        const size_t result = iconv(conversion.handle, &from, &left, &to, &room);
        error = result == static_cast<size_t>(-1) ? errno : 0;
        out.append(buffer, sizeof buffer - room);
    }
    at = bytes.size() - left;
    return left == 0 ? 0 : error;
}

/* Replaces each character that does not exist. */
std::string converted(Conversion &conversion, Checking &checking, const std::string &block,
                      bool last)
{
    std::string bytes = conversion.rest + block;
    std::string out;
    size_t at = 0;
    int error = 0;
    while ((error = convert_some(conversion, bytes, at, out)) != 0 && (error != EINVAL || last)) {
        check_block(checking, out, false);
        note_bytes(checking, lost_bytes);
        out = "\xEF\xBF\xBD";
        at = std::min(at + conversion.unit, bytes.size());
    }
    conversion.rest = bytes.substr(at);
    return out;
}

/* The next block; empty at the end. */
std::string next_block(const ReadBlock &read)
{
    std::string block(text_block, '\0');
    block.resize(read(&block[0], block.size()));
    return block;
}

template <typename Decode> void decode_blocks(const ReadBlock &read, const Decode &decode)
{
    for (std::string block = next_block(read); !block.empty(); block = next_block(read)) {
        decode(block, false);
    }
    decode("", true);
}

void read_converted(const ReadBlock &read, const Encoding &encoding, Checking &checking)
{
    Conversion conversion(encoding);
    if (!conversion.usable()) {
        throw InputError(1, std::string("this system cannot read the encoding ") + encoding.name);
    }
    decode_blocks(read, [&](const std::string &block, bool last) {
        check_block(checking, converted(conversion, checking, block, last), last);
    });
}

} // namespace

void read_text(const ReadBlock &read, TextKind kind, Faults &faults, const TakeText &take)
{
    const ReadBlock bytes = unzipped(read);
    const std::string beginning = first_bytes(bytes, max_declaration);
    const Encoding encoding = encoding_of(beginning, kind);
    const ReadBlock whole = with_beginning(beginning.substr(encoding.mark), bytes);
    Checking checking{&faults, &take, encoding.coding != Coding::WINDOWS_1252, "", ""};
    if (encoding.coding == Coding::OTHER) {
        read_converted(whole, encoding, checking);
        return;
    }
    decode_blocks(whole,
                  [&](const std::string &block, bool last) { check_block(checking, block, last); });
}

} // namespace sim
