// One record of an XML error log: an "Error" element as the library's
// CErrorObject::DescriptionXml writes it, with its attributes (ErrorLevel,
// Date, Time) and its child elements (CoClassName, ObjectName, ...,
// ErrorCode) in file order. Texts are UTF-8 with entities resolved; control
// characters are those the instrument wrote.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace KxTool {

struct ErrorRecord {
    using Items = std::vector<std::pair<std::string, std::string>>;

    unsigned long line = 0; // line of the opening tag in its file
    Items attributes;
    Items fields;

    // The text of the attribute or child element `name`; empty when absent.
    const std::string& Attribute(const char* name) const { return Find(attributes, name); }
    const std::string& Field(const char* name) const { return Find(fields, name); }
    bool HasField(const char* name) const;

private:
    static const std::string& Find(const Items& items, const char* name);
};

} // namespace KxTool
