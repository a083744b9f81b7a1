// CKxStringList and the split/merge helpers of CStlExtensions.
//
// The list is driven by a sequence of operations chosen by the input and
// compared after each one with a plain model (a vector of values that
// remember whether they are null strings): appends, stores past the end,
// insertions, deletions by index and by pointer, self-append, copies and
// self-assignment, IndexOf, and the round trip through a BSTR array
// (KXStringListConv both ways). Indexes stay below 64 (growing to an index
// is linear in the index by contract), except for a few the list can never
// grow to, which must be refused with the list unchanged.
//
// SplitString/MergeString (narrow and wide) are checked against a reference
// split, and merging what was split gives the text back: with keepEmpty
// exactly, less one trailing separator; without it, with the runs of
// separators squeezed to one and none at either end.
#include <platcompat.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include "CKxStringList.h"
#include "CStlExtensions.h"
#include "FuzzCheck.h"
#include "FuzzText.h"

using KxFuzz::Holds;
using KxTamarind::CKxString;
using KxTamarind::CKxStringList;
using KxTamarind::CStlExtensions;

namespace {

struct Value {
    bool null;
    std::wstring text;
};
using Model = std::vector<Value>;

CKxString Make(const Value& v) {
    return KxFuzz::MakeKx(v.text, v.null);
}

void CheckSame(const CKxStringList& list, const Model& model, const char* what) {
    FUZZ_CHECK(list.GetSize() == model.size(), what);
    for (std::size_t i = 0; i < model.size(); ++i) {
        const CKxString* element = list.At(static_cast<unsigned int>(i));
        FUZZ_CHECK(element != nullptr && Holds(*element, model[i].text, model[i].null), what);
    }
    FUZZ_CHECK(list.At(static_cast<unsigned int>(model.size())) == nullptr,
               "At(size) answers null");
}

// operator== of CKxString: null equals only null; otherwise wcscmp.
bool StringEquals(const Value& a, const Value& b) {
    if (b.null || a.null) {
        return a.null == b.null;
    }
    return std::wcscmp(a.text.c_str(), b.text.c_str()) == 0;
}

template <typename S>
std::vector<S> RefSplit(const S& text, const S& separators, bool keepEmpty) {
    std::vector<S> pieces;
    if (text.empty()) {
        if (keepEmpty) {
            pieces.push_back(S());
        }
        return pieces;
    }
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t next = pos;
        while (next < text.size() && separators.find(text[next]) == S::npos) {
            ++next;
        }
        if (next > pos || keepEmpty) {
            pieces.push_back(text.substr(pos, next - pos));
        }
        pos = next + 1;
    }
    return pieces;
}

// What merging the pieces of a split at one separator gives back.
template <typename S>
S RefMergedSplit(const S& text, typename S::value_type separator, bool keepEmpty) {
    if (keepEmpty) {
        return !text.empty() && text.back() == separator ? text.substr(0, text.size() - 1) : text;
    }
    S out;
    bool pending = false;
    for (auto c : text) {
        if (c == separator) {
            pending = !out.empty();
        } else {
            if (pending) {
                out += separator;
                pending = false;
            }
            out += c;
        }
    }
    return out;
}

template <typename S>
void CheckSplitMerge(const S& text, const S& separators, bool keepEmpty) {
    const std::vector<S> pieces = CStlExtensions::SplitString(text, separators, keepEmpty);
    FUZZ_CHECK(pieces == RefSplit(text, separators, keepEmpty), "SplitString = reference split");
    if (separators.size() == 1) {
        const auto separator = separators[0];
        FUZZ_CHECK(CStlExtensions::MergeString(pieces, separator, keepEmpty) ==
                       RefMergedSplit(text, separator, keepEmpty),
                   "MergeString of SplitString gives the text back");
    }
    if (!separators.empty()) {
        // Merging arbitrary pieces: keepEmpty joins all, otherwise the empty
        // ones are left out.
        S expected;
        bool first = true;
        for (const S& piece : pieces) {
            if (!keepEmpty && piece.empty()) {
                continue;
            }
            if (!first) {
                expected += separators[0];
            }
            expected += piece;
            first = false;
        }
        FUZZ_CHECK(CStlExtensions::MergeString(pieces, separators[0], keepEmpty) == expected,
                   "MergeString joins the pieces");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    {
        const std::string text = in.ConsumeRandomLengthString(256);
        const std::string separators = in.ConsumeRandomLengthString(3);
        const bool keepEmpty = in.ConsumeBool();
        CheckSplitMerge(text, separators, keepEmpty);
        CheckSplitMerge(KxFuzz::WideFromBytes(text), KxFuzz::WideFromBytes(separators), keepEmpty);
    }

    CKxStringList list;
    Model model;
    for (int step = 0; step < 32 && in.remaining_bytes() > 0; ++step) {
        const int op = in.ConsumeIntegralInRange(0, 11);
        // Small indexes, and now and then one the list can never grow to.
        const unsigned int index =
            in.ConsumeIntegralInRange(0, 15) == 0
                ? in.PickValueInArray<unsigned int>({0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
                : in.ConsumeIntegralInRange<unsigned int>(0, 63);
        const bool reachable = index < 0x7FFFFFFFu;
        const Value value{in.ConsumeIntegralInRange(0, 7) == 0, KxFuzz::ConsumeWide(in, 24)};
        const Value v = value.null ? Value{true, std::wstring()} : value;
        switch (op) {
        case 0:
            FUZZ_CHECK(list.AppendDataByCopy(Make(v)) == model.size(), "AppendDataByCopy index");
            model.push_back(v);
            break;
        case 1:
            FUZZ_CHECK(list.SetDataByCopy(Make(v), index) == reachable,
                       "SetDataByCopy answers true, false for an index beyond INT_MAX - 1");
            if (!reachable) {
                break;
            }
            if (model.size() <= index) {
                model.resize(index + 1, Value{true, std::wstring()});
            }
            model[index] = v;
            break;
        case 2:
            FUZZ_CHECK(list.DeleteAt(index) == (index < model.size()), "DeleteAt result");
            if (index < model.size()) {
                model.erase(model.begin() + index);
            }
            break;
        case 3: {
            CKxString* created = list.CreateAndInsertData(index);
            FUZZ_CHECK((created != nullptr) == (index <= model.size()),
                       "CreateAndInsertData refuses only an index past the end");
            if (created != nullptr) {
                FUZZ_CHECK(created->IsNull(), "a created element is a null string");
                model.insert(model.begin() + index, Value{true, std::wstring()});
            }
            break;
        }
        case 4: {
            int expected = -1;
            for (std::size_t i = 0; i < model.size() && expected < 0; ++i) {
                if (StringEquals(model[i], v)) {
                    expected = static_cast<int>(i);
                }
            }
            FUZZ_CHECK(list.IndexOf(Make(v)) == expected, "IndexOf: first equal element");
            break;
        }
        case 5: {
            if (model.size() > 64) {
                break; // self-append doubles: keep the list small
            }
            list += list;
            const Model copy = model;
            model.insert(model.end(), copy.begin(), copy.end());
            break;
        }
        case 6: {
            CKxStringList copy(list);
            CheckSame(copy, model, "a copied list holds copies");
            CKxStringList& self = list;
            list = self;
            CheckSame(list, model, "self-assignment changes nothing");
            copy.AppendDataByCopy(Make(v));
            list = copy;
            model.push_back(v);
            break;
        }
        case 7: {
            // Through a BSTR array and back: a BSTR keeps all characters, the
            // way back reads each one up to its terminator.
            const long count = static_cast<long>(index % (model.size() + 1));
            std::vector<BSTR> array(static_cast<std::size_t>(count) + 1, nullptr);
            KxTamarind::KXStringListConv(array.data(), list, count);
            for (long i = 0; i < count; ++i) {
                const Value& m = model[static_cast<std::size_t>(i)];
                const BSTR b = array[static_cast<std::size_t>(i)];
                FUZZ_CHECK((b == nullptr) == m.null, "a null element gives a null BSTR");
                FUZZ_CHECK(CStlExtensions::bstr2wstring(b) == m.text, "the BSTR holds the element");
            }
            FUZZ_CHECK(array[static_cast<std::size_t>(count)] == nullptr,
                       "nothing is written past count");
            CKxStringList back;
            back.AppendDataByCopy(Make(v)); // cleared first
            KxTamarind::KXStringListConv(back, array.data(), count);
            Model expected;
            for (long i = 0; i < count; ++i) {
                const Value& m = model[static_cast<std::size_t>(i)];
                expected.push_back(m.null ? m : Value{false, std::wstring(m.text.c_str())});
            }
            CheckSame(back, expected, "KXStringListConv back from a BSTR array");
            for (BSTR b : array) {
                SysFreeString(b);
            }
            break;
        }
        case 8: {
            CKxString* element = list.At(index);
            FUZZ_CHECK(list.DeleteData(element) == (index < model.size()),
                       "DeleteData of an element of the list");
            if (index < model.size()) {
                model.erase(model.begin() + index);
            }
            CKxString foreign(L"x");
            FUZZ_CHECK(!list.DeleteData(std::addressof(foreign)) && !list.DeleteData(nullptr),
                       "DeleteData refuses what the list does not own");
            break;
        }
        case 9: {
            CKxString out(L"unchanged");
            const bool found = list.GetDataByCopy(out, index);
            FUZZ_CHECK(found == (index < model.size()), "GetDataByCopy result");
            FUZZ_CHECK(found ? Holds(out, model[index].text, model[index].null)
                             : Holds(out, L"unchanged"),
                       "GetDataByCopy value");
            break;
        }
        case 10: {
            CKxString* element = new CKxString(Make(v));
            if (!reachable) {
                FUZZ_CHECK(!list.SetPointedData(element, index),
                           "SetPointedData refuses an index beyond INT_MAX - 1");
                delete element; // refused: still the caller's
                break;
            }
            FUZZ_CHECK(list.SetPointedData(element, index), "SetPointedData takes a new element");
            if (model.size() <= index) {
                model.resize(index + 1, Value{true, std::wstring()});
            }
            model[index] = v;
            if (index > 0) {
                FUZZ_CHECK(!list.SetPointedData(element, index - 1),
                           "an element already owned at another index is refused");
            }
            break;
        }
        default:
            list.Clear();
            model.clear();
            break;
        }
        CheckSame(list, model, "the list follows the model");
    }
    return 0;
}
