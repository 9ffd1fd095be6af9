// Lists kept in strings, against the literal rules of the list model.
//
// Input: one byte of choices, the list, a NUL byte, the other operand. Bytes are characters of Latin-1.

#include "qvlib/DelimitedString.h"
#include "tests/text/ListModel.h"

#include <cstdint>
#include <cstdlib>

namespace
{

using list_model::Model;
using qvlib::CDelimitedString;
using qvlib::CQVString;

std::wstring Text(CQVString const & text) { return std::wstring(text.View()); }

void Require(bool holds)
{
    if (!holds)
        std::abort();
}

template <class Change, class ModelChange>
void Same(CDelimitedString list, Model model, Change const & change, ModelChange const & modelChange)
{
    Require(change(list) == modelChange(model));
    Require(Text(list) == model.text && list.GetDelimiter() == model.delimiter);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    if (size == 0 || size > 400)
        return 0;
    unsigned int const choice = data[0];
    std::wstring text;
    std::wstring other;
    std::size_t at = 1;
    // Blanks that the model does not know are left out.
    for (; at < size && data[at] != 0; ++at)
        if (data[at] != 0x85)
            text += static_cast<wchar_t>(data[at]);
    for (++at; at < size; ++at)
        if (data[at] != 0 && data[at] != 0x85)
            other += static_cast<wchar_t>(data[at]);

    bool const ascending = (choice & 1) != 0;
    bool const sensitive = (choice & 2) != 0;
    bool const duplicates = (choice & 4) != 0;
    std::size_t const index = choice >> 4;
    wchar_t const delimiter = (choice & 8) != 0 ? L' ' : L',';
    Model const model{text, delimiter};
    CDelimitedString const list(CQVString(text), delimiter);
    CQVString const argument(other);
    qvlib::SortingTraits const sorting{ascending, sensitive, duplicates};
    qvlib::FindTraits const finding{sensitive, true, false};

    for (bool const skipEmpty : {true, false})
    {
        std::vector<CQVString> strings;
        list.GetStrings(strings, skipEmpty);
        std::vector<std::wstring> const tokens = model.Tokens(skipEmpty);
        Require(strings.size() == tokens.size());
        for (std::size_t i = 0; i < tokens.size(); ++i)
            Require(Text(strings[i]) == tokens[i]);
    }
    Require(list.FindToken(finding, argument) == model.Find(other, sensitive));
    Require(list.FindTokenPosition(argument, sensitive) == model.FindPosition(text, other, sensitive));
    Require(list.HasDuplicateTokens(finding) == model.HasDuplicates(sensitive));
    Require(list.Includes(argument) == model.Includes(other));
    Require(list.IsValid() == model.IsValid());
    Require(list.Trimmed() == model.IsTrimmed());
    Same(
        list, model, [&](auto & l) { return l.InsertTokenAt(index, argument); },
        [&](auto & m) { return m.Insert(index, other); });
    Same(
        list, model, [&](auto & l) { return l.AddToken(argument, sorting); },
        [&](auto & m) { return m.AddSorted(other, ascending, sensitive, duplicates); });
    Same(
        list, model, [&](auto & l) { return l.Merge(argument); }, [&](auto & m) { return m.Merge(other); });
    Same(
        list, model, [&](auto & l) { return l.Merge(argument, sorting); },
        [&](auto & m) { return m.MergeSorted(other, ascending, sensitive, duplicates); });
    Same(
        list, model, [&](auto & l) { return l.RemoveToken(finding, argument); },
        [&](auto & m) { return m.Remove(other, sensitive); });
    Same(
        list, model, [&](auto & l) { return l.RemoveDuplicateTokens(finding); },
        [&](auto & m) { return m.RemoveDuplicates(sensitive); });
    Same(
        list, model, [&](auto & l) { return l.RemoveTokenAtPosition(static_cast<unsigned long>(index)); },
        [&](auto & m) { return m.RemoveAtPosition(index, list_model::kNone); });
    Same(
        list, model, [&](auto & l) { return l.SortTokens(sorting), true; },
        [&](auto & m) { return m.Sort(ascending, sensitive, duplicates), true; });
    Same(
        list, model, [&](auto & l) { return l.Trim(), true; }, [&](auto & m) { return m.Trim(), true; });
    return 0;
}
