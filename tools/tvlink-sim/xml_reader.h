/* SPDX-License-Identifier: MIT */
/* Reads an XML file element by element, in memory that does not grow with the file. Nothing is
 * fetched: entities that are not declared in the file stay as they are written. */
#ifndef TVLINK_SIM_XML_READER_H
#define TVLINK_SIM_XML_READER_H

#include <cstddef>
#include <functional>
#include <string>

#include "faults.h"
#include "unzip.h"

namespace sim
{

struct XmlElement {
    const char *name;
    const char *const *attributes; /* name, value, name, value, null; null at the element's end */
    size_t depth;                  /* 1: the root */
    size_t line;                   /* where the tag begins */
};

struct XmlHandlers {
    std::function<void(const XmlElement &)> begin;
    std::function<void(const XmlElement &)> end;
    std::function<void(const char *text, size_t size, size_t depth)> text; /* of this depth */
};

/* Null when the element has no such attribute. */
const char *xml_attribute(const XmlElement &element, const char *name);

/* Handlers may throw. Throws InputError when the file is no XML. */
void read_xml(const ReadBlock &read, Faults &faults, const XmlHandlers &handlers);

} // namespace sim

#endif
