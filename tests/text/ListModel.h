// The list operations by their literal rules, one token after another: slow, obvious, and what CDelimitedString must
// agree with on every list.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace list_model
{

constexpr std::size_t kNone = 0xFFFFFFFFU;

struct Model
{
    std::wstring text;
    wchar_t delimiter = L',';

    bool IsBlank(wchar_t c) const { return c != delimiter && (c == L' ' || (c >= 9 && c <= 13) || c == 0xA0); }

    std::wstring Trimmed(std::wstring token) const
    {
        while (!token.empty() && IsBlank(token.front()))
            token.erase(0, 1);
        while (!token.empty() && IsBlank(token.back()))
            token.pop_back();
        return token;
    }

    /// The next token at `cursor`, with its place; false at the end.
    bool Next(std::size_t & cursor, std::wstring & token, std::size_t & place, bool skipEmpty) const
    {
        while (cursor < text.size())
        {
            std::size_t const stop = std::min(text.find(delimiter, cursor), text.size());
            std::wstring const field = text.substr(cursor, stop - cursor);
            token = Trimmed(field);
            std::size_t lead = 0;
            while (lead < field.size() && IsBlank(field[lead]))
                ++lead;
            place = cursor + lead;
            cursor = stop < text.size() ? stop + 1 : stop;
            if (!token.empty() || !skipEmpty)
                return true;
        }
        return false;
    }

    std::vector<std::wstring> Tokens(bool skipEmpty = true) const
    {
        std::vector<std::wstring> tokens;
        std::size_t cursor = 0;
        std::size_t place = 0;
        for (std::wstring token; Next(cursor, token, place, skipEmpty);)
            tokens.push_back(token);
        return tokens;
    }

    void Add(std::wstring const & token)
    {
        if (token.empty())
            return;
        if (!text.empty())
            text += delimiter;
        text += token;
    }

    static wchar_t Fold(wchar_t c, bool caseSensitive)
    {
        return !caseSensitive && c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    }
    static std::wstring Folded(std::wstring t, bool caseSensitive)
    {
        for (wchar_t & c : t)
            c = Fold(c, caseSensitive);
        return t;
    }

    std::size_t Find(std::wstring const & token, bool caseSensitive) const
    {
        std::vector<std::wstring> const tokens = Tokens();
        for (std::size_t i = 0; i < tokens.size(); ++i)
            if (Folded(tokens[i], caseSensitive) == Folded(token, caseSensitive))
                return i;
        return kNone;
    }

    bool Insert(std::size_t index, std::wstring const & token)
    {
        std::vector<std::wstring> const tokens = Tokens();
        if (tokens.size() < index)
            return false;
        Model result{L"", delimiter};
        for (std::size_t i = 0; i <= tokens.size(); ++i)
        {
            if (i == index)
                result.Add(token);
            if (i < tokens.size())
                result.Add(tokens[i]);
        }
        text = result.text;
        return true;
    }

    bool AddSorted(std::wstring const & token, bool ascending, bool caseSensitive, bool allowDuplicates)
    {
        if (token.empty())
            return false;
        std::vector<std::wstring> const tokens = Tokens();
        std::size_t index = 0;
        for (; index < tokens.size(); ++index)
        {
            std::size_t const common = std::min(token.size(), tokens[index].size());
            int const order = Folded(token.substr(0, common), caseSensitive)
                                  .compare(Folded(tokens[index].substr(0, common), caseSensitive));
            if (order < 0 && ascending)
                break;
            if (order > 0 && !ascending)
                break;
            if (order == 0 && token.size() < tokens[index].size() && ascending)
                break;
            if (order == 0 && token.size() > tokens[index].size() && !ascending)
                break;
            if (order == 0 && token.size() == tokens[index].size())
            {
                if (!allowDuplicates)
                    return false;
                break;
            }
        }
        return Insert(index, token);
    }

    /// A search in `all` from `from` on.
    std::size_t FindPosition(std::wstring const & all, std::wstring token, bool caseSensitive) const
    {
        token = Trimmed(token);
        if (token.empty())
            return kNone;
        std::wstring const where = Folded(all, caseSensitive);
        std::wstring const what = Folded(token, caseSensitive);
        for (std::size_t hit = where.find(what); hit != std::wstring::npos; hit = where.find(what, hit + what.size()))
        {
            std::size_t left = hit;
            while (left > 0 && IsBlank(all[left - 1]))
                --left;
            std::size_t right = hit + what.size();
            while (right < all.size() && IsBlank(all[right]))
                ++right;
            if ((left == 0 || all[left - 1] == delimiter) && (right == all.size() || all[right] == delimiter))
                return hit;
        }
        return kNone;
    }

    bool RemoveAtPosition(std::size_t position, std::size_t length)
    {
        if (position >= text.size())
            return false;
        std::size_t start = position;
        while (start > 0 && IsBlank(text[start - 1]))
            --start;
        if (start > 0 && text[start - 1] != delimiter)
            return false;
        std::size_t end;
        if (length == kNone)
            end = std::min(text.find(delimiter, position), text.size());
        else
        {
            end = std::min(position + length, text.size());
            while (end < text.size() && IsBlank(text[end]))
                ++end;
            if (end < text.size() && text[end] != delimiter)
                return false;
        }
        if (end == text.size() && start > 0)
            --start;
        else if (end < text.size())
            ++end;
        text.erase(start, end - start);
        return true;
    }

    bool Remove(std::wstring const & token, bool caseSensitive)
    {
        std::size_t const position = FindPosition(text, token, caseSensitive);
        return position != kNone && RemoveAtPosition(position, token.size());
    }

    bool HasDuplicates(bool caseSensitive) const
    {
        std::size_t cursor = 0;
        std::size_t place = 0;
        for (std::wstring token; Next(cursor, token, place, true);)
            if (FindPosition(text.substr(cursor), token, caseSensitive) != kNone)
                return true;
        return false;
    }

    bool RemoveDuplicates(bool caseSensitive)
    {
        std::size_t const before = text.size();
        std::size_t cursor = 0;
        std::size_t place = 0;
        for (std::wstring token; Next(cursor, token, place, true);)
        {
            std::size_t const hit =
                cursor < text.size() ? FindPosition(text.substr(cursor), token, caseSensitive) : kNone;
            if (hit != kNone)
                RemoveAtPosition(cursor + hit, token.size());
        }
        return text.size() != before;
    }

    bool Merge(std::wstring const & other)
    {
        if (text.empty())
        {
            *this = {other, L','};
            return !text.empty();
        }
        bool added = false;
        for (std::wstring const & token : Model{other, delimiter}.Tokens())
        {
            if (Find(token, true) != kNone)
                continue;
            Add(token);
            added = true;
        }
        return added;
    }

    bool MergeSorted(std::wstring const & other, bool ascending, bool caseSensitive, bool allowDuplicates)
    {
        if (text.empty())
            return Merge(other);
        bool added = false;
        for (std::wstring const & token : Model{other, delimiter}.Tokens())
            if (Find(token, caseSensitive) == kNone)
                added = AddSorted(token, ascending, caseSensitive, allowDuplicates) || added;
        return added;
    }

    void Sort(bool ascending, bool caseSensitive, bool allowDuplicates)
    {
        Model sorted{L"", delimiter};
        for (std::wstring const & token : Tokens())
            sorted.AddSorted(token, ascending, caseSensitive, allowDuplicates);
        text = sorted.text;
    }

    bool Includes(std::wstring const & other) const
    {
        if (text.size() < other.size())
            return false;
        for (std::wstring const & token : Model{other, delimiter}.Tokens())
            if (FindPosition(text, token, true) == kNone)
                return false;
        return true;
    }

    bool IsValid() const
    {
        std::size_t cursor = 0;
        std::size_t place = 0;
        std::wstring token;
        while (cursor < text.size())
            if (!Next(cursor, token, place, true))
                return false;
        return true;
    }

    /// All fields, the one behind a closing delimiter too.
    std::vector<std::wstring> Fields() const
    {
        std::vector<std::wstring> fields(1);
        for (wchar_t const c : text)
        {
            if (c == delimiter)
                fields.emplace_back();
            else
                fields.back() += c;
        }
        return fields;
    }

    bool IsTrimmed() const
    {
        if (text.empty())
            return true;
        if (text.front() == delimiter || text.back() == delimiter)
            return false;
        for (std::wstring const & field : Fields())
            if (Trimmed(field) != field)
                return false;
        return true;
    }

    void Trim()
    {
        std::wstring result;
        bool first = true;
        for (std::wstring const & field : Fields())
        {
            if (!first)
                result += delimiter;
            first = false;
            result += Trimmed(field);
        }
        text = result;
    }
};

} // namespace list_model
