// XmlOf: a record's XML rendering with the rendering time replaced by
// ` Date="D" Time="T">`, after checking that the time has the form
// ` Date="9999-99-99" Time="99:99:99.999">` (a digit where each 9 is); a
// rendering without such a time fails the running test.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CErrorObject.h"

namespace KxTest {

inline std::string XmlOf(const KxTamarind::CErrorObject& error) {
    const std::string xml = error.DescriptionXml().GetString();
    const std::string shape = " Date=\"9999-99-99\" Time=\"99:99:99.999\">";
    const std::size_t at = xml.find(" Date=\"");
    bool ok = at != std::string::npos && xml.size() >= at + shape.size();
    for (std::size_t i = 0; ok && i < shape.size(); ++i) {
        const char c = xml[at + i];
        ok = shape[i] == '9' ? c >= '0' && c <= '9' : c == shape[i];
    }
    if (!ok) {
        ADD_FAILURE() << "no rendering time in " << xml;
        return xml;
    }
    return xml.substr(0, at) + " Date=\"D\" Time=\"T\">" + xml.substr(at + shape.size());
}

} // namespace KxTest
