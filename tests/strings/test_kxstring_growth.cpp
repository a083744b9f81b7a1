// CKxString growing in place: appends of every form, of the string's own
// characters included, against a std::wstring doing the same; and Split
// into a list that already holds elements.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "CKxString.h"
#include "CKxStringList.h"

using KxTamarind::CKxString;
using KxTamarind::CKxStringList;

namespace {

std::wstring Text(const CKxString& s) {
    return std::wstring(static_cast<const wchar_t*>(s), static_cast<std::size_t>(s.Length()));
}

} // namespace

TEST(KxStringGrowth, AppendsAgreeWithAStdWstring) {
    // Pieces of 0 to 40 characters (embedded NULs and characters beyond
    // U+FFFF among them), some taken from the string itself: its start,
    // its middle and the whole of it, while it grows through every size
    // (copies of itself only while short, so that it stays small).
    std::mt19937 random(99u);
    CKxString s;
    std::wstring model;
    for (int step = 0; step < 600; ++step) {
        SCOPED_TRACE(testing::Message() << "step " << step << ", length " << model.size());
        const unsigned kind = random() % 8;
        const std::size_t length = model.size();
        HRESULT hr = S_OK;
        if (kind == 0 && length > 0 && length < 5000) {
            hr = s.Append(s); // the whole string, doubled
            model += std::wstring(model);
        } else if (kind == 1 && length > 2 && length < 5000) {
            const std::size_t from = random() % (length - 1);
            const int count = static_cast<int>(random() % (length - from));
            hr = s.Append(static_cast<const wchar_t*>(s) + from, count);
            model += model.substr(from, static_cast<std::size_t>(count));
        } else {
            std::wstring piece(random() % 41, L'x');
            for (wchar_t& c : piece) {
                const unsigned pick = random() % 10;
                c = pick == 0   ? L'\0'
                    : pick == 1 ? L'\U0001F600'
                                : static_cast<wchar_t>(L'a' + pick);
            }
            if (kind == 2) {
                hr = s.Append(CKxString(piece));
            } else if (kind == 3) {
                hr = s.Append(piece.data(), static_cast<int>(piece.size()));
            } else {
                s += piece;
            }
            model += piece;
        }
        ASSERT_EQ(hr, S_OK);
        ASSERT_EQ(Text(s), model);
        ASSERT_EQ(static_cast<const wchar_t*>(s)[model.size()], L'\0');
    }
}

TEST(KxStringGrowth, SplitAppendsToAListThatHoldsElements) {
    CKxStringList list;
    list.AppendDataByCopy(CKxString(L"first"));
    const wchar_t text[] = {L'a', L'\0', L'b', L',', L',', L'c', L','};
    const CKxString s(std::wstring(text, 7));
    EXPECT_EQ(s.Split(list, CKxString(L","), true), 7);
    ASSERT_EQ(list.GetSize(), 4u);
    EXPECT_EQ(Text(list[0]), L"first");
    EXPECT_EQ(Text(list[1]), std::wstring(text, 3)); // the embedded NUL kept
    EXPECT_TRUE(list[2].IsNull());
    EXPECT_EQ(Text(list[3]), L"c");
}
