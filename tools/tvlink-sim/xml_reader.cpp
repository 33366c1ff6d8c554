/* SPDX-License-Identifier: MIT */
#include "xml_reader.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>

#include <expat.h>

#include "ampersands.h"
#include "input_error.h"
#include "text_blocks.h"

namespace sim
{

namespace
{

constexpr size_t max_depth = 64;
constexpr size_t max_entities = 64;
constexpr XML_Index max_unread = 4194304; /* bytes of one tag, which the parser keeps */

const FaultKind bare_ampersand = {"ampersand taken for itself", "ampersands taken for themselves",
                                  "in XML it is written &amp;"};

struct XmlReading {
    XML_Parser parser;
    const XmlHandlers *handlers;
    size_t depth = 0;
    size_t entities = 0;
    size_t skipped_lines = 0; /* in front of the document */
    XML_Index fed = 0;        /* bytes */
    std::exception_ptr failure =
        nullptr; /* of a handler; exceptions do not pass through the parser */
};

size_t line_of(const XmlReading &reading)
{
    return static_cast<size_t>(XML_GetCurrentLineNumber(reading.parser)) + reading.skipped_lines;
}

/* Calls `work` with the reading; an exception ends the parsing. */
template <typename Work> void guarded(void *data, const Work &work)
{
    XmlReading &reading = *static_cast<XmlReading *>(data);
    if (reading.failure != nullptr) {
        return;
    }
    try {
        work(reading);
    } catch (...) {
        reading.failure = std::current_exception();
        XML_StopParser(reading.parser, XML_FALSE);
    }
}

void XMLCALL begin_element(void *data, const XML_Char *name, const XML_Char **attributes)
{
    guarded(data, [=](XmlReading &reading) {
        reading.depth++;
        if (reading.depth > max_depth) {
            throw InputError(line_of(reading), "elements inside each other more than " +
                                                   std::to_string(max_depth) + " deep");
        }
        reading.handlers->begin({name, attributes, reading.depth, line_of(reading)});
    });
}

void XMLCALL end_element(void *data, const XML_Char *name)
{
    guarded(data, [=](XmlReading &reading) {
        reading.handlers->end({name, nullptr, reading.depth, line_of(reading)});
        reading.depth--;
    });
}

void XMLCALL take_text(void *data, const XML_Char *text, int size)
{
    guarded(data, [=](XmlReading &reading) {
        reading.handlers->text(text, static_cast<size_t>(size), reading.depth);
    });
}

/* An entity of a document type that is not fetched, such as &nbsp;. */
void XMLCALL skip_entity(void *data, const XML_Char *name, int is_parameter)
{
    guarded(data, [=](XmlReading &reading) {
        const std::string text = std::string("&") + name + ";";
        if (is_parameter == 0) {
            reading.handlers->text(text.data(), text.size(), reading.depth);
        }
    });
}

/* The parser goes one call deeper for each entity inside another one. */
void XMLCALL count_entity(void *data, const XML_Char *, int, const XML_Char *, int,
                          const XML_Char *, const XML_Char *, const XML_Char *, const XML_Char *)
{
    guarded(data, [](XmlReading &reading) {
        reading.entities++;
        if (reading.entities > max_entities) {
            throw InputError(line_of(reading),
                             "more than " + std::to_string(max_entities) + " entities");
        }
    });
}

void prepare(XmlReading &reading)
{
    XML_SetUserData(reading.parser, &reading);
    XML_SetElementHandler(reading.parser, begin_element, end_element);
    XML_SetCharacterDataHandler(reading.parser, take_text);
    XML_SetSkippedEntityHandler(reading.parser, skip_entity);
    XML_SetEntityDeclHandler(reading.parser, count_entity);
    /* As if there were a document type elsewhere, so that an undeclared entity is no error. */
    XML_UseForeignDTD(reading.parser, XML_TRUE);
}

void check_progress(const XmlReading &reading)
{
    const XML_Index index = XML_GetCurrentByteIndex(reading.parser);
    const XML_Index read = index + XML_GetCurrentByteCount(reading.parser);
    if (index >= 0 && reading.fed - read > max_unread) {
        throw InputError(line_of(reading),
                         "a tag longer than " + std::to_string(max_unread) + " bytes");
    }
}

void parse_text(XmlReading &reading, const char *text, size_t size, bool last)
{
    const XML_Status status =
        XML_Parse(reading.parser, text, static_cast<int>(size), last ? XML_TRUE : XML_FALSE);
    reading.fed += static_cast<XML_Index>(size);
    if (reading.failure != nullptr) {
        std::rethrow_exception(reading.failure);
    }
    if (status == XML_STATUS_ERROR) {
        throw InputError(line_of(reading), std::string("this is no XML: ") +
                                               XML_ErrorString(XML_GetErrorCode(reading.parser)));
    }
    check_progress(reading);
}

/* Blanks and lines in front of the document, which its declaration does not allow. Returns the
 * offset of what follows. */
size_t skip_empty_beginning(XmlReading &reading, const std::string &text)
{
    const size_t blanks = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    for (size_t i = 0; i < blanks; i++) {
        const bool second_half = text[i] == '\n' && i > 0 && text[i - 1] == '\r';
        const bool line_end = text[i] == '\n' || text[i] == '\r';
        reading.skipped_lines += line_end && !second_half ? 1 : 0;
    }
    return blanks;
}

void count_mended(const Ampersands &ampersands, Faults &faults)
{
    for (size_t i = 0; i < ampersands.mended; i++) {
        count_fault(faults, bare_ampersand, 0);
    }
}

void read_leniently(XmlReading &reading, const ReadBlock &read, Faults &faults)
{
    Ampersands ampersands;
    read_text(read, TextKind::XML, faults, [&](const std::string &text) {
        const size_t from = reading.fed == 0 ? skip_empty_beginning(reading, text) : 0;
        const std::string mended = mend_ampersands(ampersands, text.substr(from), false);
        parse_text(reading, mended.data(), mended.size(), false);
    });
    const std::string end = mend_ampersands(ampersands, "", true);
    count_mended(ampersands, faults);
    parse_text(reading, end.data(), end.size(), true);
}

} // namespace

const char *xml_attribute(const XmlElement &element, const char *name)
{
    for (const char *const *entry = element.attributes; *entry != nullptr; entry += 2) {
        if (strcmp(entry[0], name) == 0) {
            return entry[1];
        }
    }
    return nullptr;
}

void read_xml(const ReadBlock &read, Faults &faults, const XmlHandlers &handlers)
{
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate("UTF-8"),
                                                                         XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    XmlReading reading{parser.get(), &handlers};
    prepare(reading);
    if (faults.strictness == Strictness::STRICT) {
        read_text(read, TextKind::XML, faults, [&](const std::string &text) {
            parse_text(reading, text.data(), text.size(), false);
        });
        parse_text(reading, "", 0, true);
    } else {
        read_leniently(reading, read, faults);
    }
}

} // namespace sim
