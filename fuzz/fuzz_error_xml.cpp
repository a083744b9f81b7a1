// XmlReplaceSpecialCharsA and the three renderings of CErrorObject
// (DescriptionXml, Description, GetAdditionalInfoEx).
//
// Every text field comes from the input (any bytes: markup characters,
// non-ASCII, NULs); the GUIDs, line, code and logical location too, and one
// firmware application with a name full of markup is entered into the
// process-wide table so that location lines appear. Checked:
// - escaping: exactly the five entities replace the five characters, the
//   result holds none of them raw, and unescaping gives the input back (up
//   to its first NUL, where the C string ends);
// - DescriptionXml is read element by element in its documented order: the
//   escaped fields hold no raw markup and unescape to the field, the raw
//   ones are copied as they are, each element appears exactly under its
//   condition, and nothing stands before, between or after the elements;
// - Description and GetAdditionalInfoEx equal a reference assembled from
//   their documented pieces.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

#include "CErrorObject.h"
#include "CFwInfoTable.h"
#include "CStlExtensions.h"
#include "FuzzCheck.h"
#include "FuzzText.h"
#include "KxKernelRemote.h"
#include "KxResultCodes.h"
#include "ReferenceText.h"

using KxTamarind::CErrorObject;

namespace {

const wchar_t kAppName[] = L"Me\u00dfkopf <&\"'> \u20ac";

// The slot of the one named application, entered once.
unsigned AppSlot() {
    static const unsigned slot = [] {
        KxTamarind::CFwInfoTable* table = KxTamarind::GetFwInfoTable();
        const unsigned short id = table->NewFwAppId(0);
        table->GetFwInfo(id)->SetFwAppName(kAppName);
        return static_cast<unsigned>(id >> 8);
    }();
    return slot;
}

std::string RefEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '"':
            out += "&quot;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '\'':
            out += "&apos;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        default:
            out += c;
            break;
        }
    }
    return out;
}

// Reads the entities back; false on a raw markup character or an '&' that
// starts none of the five entities.
bool Unescape(const std::string& text, std::string& out) {
    static const struct {
        const char* entity;
        char c;
    } kEntities[] = {
        {"&quot;", '"'}, {"&amp;", '&'}, {"&apos;", '\''}, {"&lt;", '<'}, {"&gt;", '>'}};
    out.clear();
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        if (c == '"' || c == '\'' || c == '<' || c == '>') {
            return false;
        }
        if (c != '&') {
            out += c;
            ++i;
            continue;
        }
        bool known = false;
        for (const auto& e : kEntities) {
            const std::size_t n = std::strlen(e.entity);
            if (text.compare(i, n, e.entity) == 0) {
                out += e.c;
                i += n;
                known = true;
                break;
            }
        }
        if (!known) {
            return false;
        }
    }
    return true;
}

std::string GuidText(const GUID& g) {
    return KxTamarind::CStlExtensions::GUID2String(g);
}

bool IsNull(const GUID& g) {
    return std::memcmp(&g, &GUID_NULL, sizeof g) == 0;
}

// A field as the renderings print it: a C string, up to its first NUL.
std::string Shown(const CAtlStringA& field) {
    return std::string(field.GetString());
}

std::string CodeText(long code) {
    CAtlStringA text;
    KxTamarind::AppendResultCodeText(text, code);
    return std::string(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

// The application name of a logical location, if it has one.
bool LocationName(long location, std::string& name) {
    if (((static_cast<unsigned long>(location) & 0xFFFFu) >> 8) != AppSlot()) {
        return false;
    }
    name = KxFuzz::Utf8Of(kAppName);
    return true;
}

// Reads DescriptionXml front to back.
class XmlReader {
public:
    explicit XmlReader(const std::string& xml) : m_xml(xml) {}

    void Literal(const std::string& text, const char* what) {
        FUZZ_CHECK(m_xml.compare(m_at, text.size(), text) == 0, what);
        m_at += text.size();
    }
    // "      <Tag>content</Tag>\n" with the content as given.
    void Raw(const char* tag, const std::string& content) {
        Literal(std::string("      <") + tag + ">" + content + "</" + tag + ">\n",
                "a raw element holds the field as it is");
    }
    // The same, with an escaped content: it ends at the first '<' (a raw one
    // cannot occur in it) and must unescape to `content`.
    void Escaped(const char* tag, const std::string& content) {
        Literal(std::string("      <") + tag + ">", "an escaped element starts here");
        const std::size_t end = m_xml.find('<', m_at);
        FUZZ_CHECK(end != std::string::npos, "an escaped element is closed");
        std::string text;
        FUZZ_CHECK(Unescape(m_xml.substr(m_at, end - m_at), text),
                   "escaped field text holds no raw markup");
        FUZZ_CHECK(text == content, "escaped field text unescapes to the field");
        m_at = end;
        Literal(std::string("</") + tag + ">\n", "the escaped element ends right after its text");
    }
    // Skips `count` decimal digits.
    void Digits(int count) {
        for (int i = 0; i < count; ++i, ++m_at) {
            FUZZ_CHECK(m_at < m_xml.size() && std::isdigit(static_cast<unsigned char>(m_xml[m_at])),
                       "a digit of the rendering time");
        }
    }
    bool AtEnd() const { return m_at == m_xml.size(); }

private:
    const std::string& m_xml;
    std::size_t m_at = 0;
};

void CheckXml(const CErrorObject& e) {
    const CAtlStringA rendered = e.DescriptionXml();
    const std::string xml(rendered.GetString(), static_cast<std::size_t>(rendered.GetLength()));
    XmlReader r(xml);
    r.Literal(e.GetIsRepairedError() ? "    <Error ErrorLevel=\"RepairedError\" Date=\""
                                     : "    <Error ErrorLevel=\"SystemError\" Date=\"",
              "the opening tag");
    r.Digits(4);
    r.Literal("-", "date");
    r.Digits(2);
    r.Literal("-", "date");
    r.Digits(2);
    r.Literal("\" Time=\"", "time");
    r.Digits(2);
    r.Literal(":", "time");
    r.Digits(2);
    r.Literal(":", "time");
    r.Digits(2);
    r.Literal(".", "time");
    r.Digits(3);
    r.Literal("\">\n", "the opening tag ends");
    if (!e.GetCoClassName().IsEmpty()) {
        r.Raw("CoClassName", Shown(e.GetCoClassName()));
    }
    if (!e.GetObjectName().IsEmpty()) {
        r.Escaped("ObjectName", Shown(e.GetObjectName()));
    }
    if (!IsNull(e.GetObjectGuid())) {
        r.Raw("ObjectGuid", GuidText(e.GetObjectGuid()));
        const long location = e.GetLogicalLocation();
        std::string name;
        if (location > 0) {
            r.Raw("LogicalLocation", std::to_string(static_cast<int>(location)));
            if (LocationName(location, name)) {
                r.Raw("FwApplic", name);
                if ((location & 0xFF) != 0) {
                    r.Raw("LINumber", std::to_string(static_cast<int>((location & 0xFF) - 1)));
                }
            }
        }
    }
    if (!e.GetCondition().IsEmpty()) {
        r.Escaped("Condition", Shown(e.GetCondition()));
    }
    if (!e.GetAdditionalInfo().IsEmpty()) {
        r.Escaped("Description", Shown(e.GetAdditionalInfo()));
    }
    if (!e.GetPropertyPath().IsEmpty()) {
        r.Raw("PropertyPath", Shown(e.GetPropertyPath()));
    }
    if (!e.GetPropertyName().IsEmpty()) {
        r.Escaped("PropertyName", Shown(e.GetPropertyName()));
    }
    if (!e.GetPartnerObjectName().IsEmpty()) {
        r.Escaped("PartnerObjectName", Shown(e.GetPartnerObjectName()));
    }
    if (!IsNull(e.GetPartnerObjectGuid())) {
        r.Raw("PartnerObjectGuid", GuidText(e.GetPartnerObjectGuid()));
    }
    if (!e.GetFileName().IsEmpty()) {
        r.Escaped("FileName", Shown(e.GetFileName()));
        if (e.GetLine() > 0) {
            r.Raw("FileLine", std::to_string(static_cast<int>(e.GetLine())));
        }
    }
    if (!e.GetTimeStamp().IsEmpty()) {
        r.Raw("FileTime", Shown(e.GetTimeStamp()));
    }
    if (!IsNull(e.GetIid())) {
        r.Raw("Iid", GuidText(e.GetIid()));
    }
    if (!e.GetMethodName().IsEmpty()) {
        r.Raw("MethodName", Shown(e.GetMethodName()));
    }
    if (!e.GetThreadName().IsEmpty()) {
        r.Raw("Thread", Shown(e.GetThreadName()));
    }
    if (e.GetErrorCode() != 0) {
        r.Raw("ErrorCode", std::string(CodeText(e.GetErrorCode()).c_str()));
    }
    r.Literal("    </Error>\n", "the closing tag");
    FUZZ_CHECK(r.AtEnd(), "nothing follows the closing tag");
}

std::string RefDescription(const CErrorObject& e) {
    std::string out;
    if (!e.GetAdditionalInfo().IsEmpty()) {
        out += Shown(e.GetAdditionalInfo()) + "\n";
    }
    out += "\n";
    if (!e.GetCondition().IsEmpty()) {
        out += "CONDITION:\t(" + Shown(e.GetCondition()) + ") failed\n";
    }
    if (!e.GetCoClassName().IsEmpty()) {
        out += "COMPONENT:\t" + Shown(e.GetCoClassName()) + "\nOBJECTNAME:\t" +
               Shown(e.GetObjectName()) + "\nOBJECTGUID:\t" + GuidText(e.GetObjectGuid()) + "\n";
        std::string name;
        const long location = e.GetLogicalLocation();
        if (LocationName(location, name)) {
            out += "LOCATION:\t" + name;
            if ((location & 0xFF) != 0) {
                out += "[" + std::to_string((location & 0xFF) - 1) + "]";
            }
            out += "\n";
        }
    }
    if (!e.GetPropertyPath().IsEmpty()) {
        out += "PROPERTY:\t" + Shown(e.GetPropertyName()) + "\n";
    }
    if (!e.GetPartnerObjectName().IsEmpty()) {
        out += "PARTNERNAME:\t" + Shown(e.GetPartnerObjectName()) + "\nPARTNERGUID:\t" +
               GuidText(e.GetPartnerObjectGuid()) + "\n";
    }
    if (!e.GetFileName().IsEmpty()) {
        out += "FILE:\t\t" + Shown(e.GetFileName()) + "\nLINE:\t\t" +
               std::to_string(static_cast<int>(e.GetLine())) + "\nFILEMODTIME:\t" +
               Shown(e.GetTimeStamp()) + "\n";
    }
    if (!e.GetThreadName().IsEmpty()) {
        out += "THREAD:\t\t" + Shown(e.GetThreadName()) + "\n";
    }
    // The result-code text goes through a "%s" of its own.
    return out + std::string(CodeText(e.GetErrorCode()).c_str());
}

std::string RefAdditionalInfoEx(const CErrorObject& e) {
    std::string out;
    const auto line = [&out](const char* label, const CAtlStringA& field) {
        if (!field.IsEmpty()) {
            out += std::string(label) + Shown(field) + "<br/>";
        }
    };
    line("ADDITIONAL INFO: ", e.GetAdditionalInfo());
    line("COMPONENT: ", e.GetCoClassName());
    line("OBJECTNAME: ", e.GetObjectName());
    if (!IsNull(e.GetObjectGuid())) {
        out += "OBJECTGUID: " + GuidText(e.GetObjectGuid()) + "<br/>";
    }
    std::string name;
    const long location = e.GetLogicalLocation();
    if (location > 0 && LocationName(location, name)) {
        out += "LOCATION: " + name;
        if ((location & 0xFF) != 0) {
            out += "[" + std::to_string((location & 0xFF) - 1) + "]";
        }
        out += "\n";
    }
    line("PROPERTY: ", e.GetPropertyName());
    line("PARTNEROBJECTNAME: ", e.GetPartnerObjectName());
    if (!IsNull(e.GetPartnerObjectGuid())) {
        out += "PARTNEROBJECTGUID: " + GuidText(e.GetPartnerObjectGuid()) + "<br/>";
    }
    return out;
}

std::string Text(const CAtlStringA& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

GUID ConsumeGuid(FuzzedDataProvider& in) {
    GUID g;
    switch (in.ConsumeIntegralInRange(0, 3)) {
    case 0:
        return GUID_NULL;
    case 1:
        std::memset(&g, 0xFF, sizeof g);
        return g;
    default:
        std::memset(&g, 0, sizeof g);
        g.Data1 = in.ConsumeIntegral<std::uint32_t>();
        g.Data4[7] = in.ConsumeIntegral<std::uint8_t>();
        return g;
    }
}

CAtlStringA ConsumeField(FuzzedDataProvider& in) {
    const std::string bytes = in.ConsumeRandomLengthString(48);
    return CAtlStringA(bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const bool repaired = in.ConsumeBool();
    const long line = in.ConsumeIntegral<std::int32_t>();
    const long code = in.ConsumeBool() ? in.ConsumeIntegral<std::int32_t>()
                                       : static_cast<long>(in.PickValueInArray<std::uint32_t>(
                                             {0u, 0x80000003u, 0x80001007u, 0x8000101Bu, 1u}));
    const GUID iid = ConsumeGuid(in);
    const GUID object = ConsumeGuid(in);
    const GUID partner = ConsumeGuid(in);
    const long location =
        in.ConsumeBool() ? static_cast<long>((AppSlot() << 8) | in.ConsumeIntegral<std::uint8_t>())
                         : static_cast<long>(in.ConsumeIntegral<std::int32_t>());
    CAtlStringA fields[11];
    for (CAtlStringA& field : fields) {
        field = ConsumeField(in);
    }
    const CErrorObject e(repaired, line, code, iid, location, object, partner, fields[0], fields[1],
                         fields[2], fields[3], fields[4], fields[5], fields[6], fields[7],
                         fields[8], fields[9], fields[10]);

    for (const CAtlStringA& field : fields) {
        const std::string escaped = Text(KxTamarind::XmlReplaceSpecialCharsA(field));
        FUZZ_CHECK(escaped == RefEscape(Shown(field)), "escaping replaces exactly the five");
        std::string back;
        FUZZ_CHECK(Unescape(escaped, back) && back == Shown(field),
                   "unescaping the escaped text gives the text back");
    }
    CheckXml(e);
    FUZZ_CHECK(Text(e.Description()) == RefDescription(e), "Description");
    FUZZ_CHECK(Text(e.GetAdditionalInfoEx()) == RefAdditionalInfoEx(e), "GetAdditionalInfoEx");
    const CErrorObject copy(e);
    FUZZ_CHECK(Text(copy.Description()) == Text(e.Description()), "a copy renders the same");
    return 0;
}
