// CStringT: the framework's string. The library's own string, CQVString, derives from it.
//
// A string is one pointer to a shared buffer {count of owners, length, capacity, characters, NUL}. Copying a string is
// one atomic increment and no allocation; the characters are copied when one of several owners is first changed. It
// differs from std::basic_string in these ways:
//  - lengths and positions are int, a search that finds nothing gives -1, and a position past the end is brought back
//    to the end where the framework does so;
//  - it converts to `Char const *`, which is never null and always ends in a NUL;
//  - a null pointer given as text is the empty text;
//  - Format follows the platform's rules, not the C library's: in a wide format "%s" takes wide text and "%S" or "%hs"
//    narrow (UTF-8) text, "%ld" and "%lu" print a 32-bit quantity, and no locale plays a part;
//  - letters fold by ASCII, whatever the locale.
//
//     CStringT<wchar_t> greeting;
//     greeting.Format(L"%s has %d new %s", name.GetString(), count, count == 1 ? L"message" : L"messages");
//     int at = 0;
//     for (auto word = greeting.Tokenize(L" ", at); at != -1; word = greeting.Tokenize(L" ", at))
//         Use(word);
//
// Only CStringT<wchar_t> exists. Thread rule: thread-compatible; two strings that share a buffer are independent.
// A negative length, or a position outside the text where the framework refuses one, throws CInvalidArgException;
// memory that runs out throws std::bad_alloc. Every operation but GetBuffer leaves the string as it was when it throws.
#pragma once

#include "qvlib/export.h"

#include <atomic>
#include <compare>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

template <class Char>
class QVLIB_API CStringT
{
public:
    using XCHAR = Char;
    using PXSTR = Char *;
    using PCXSTR = Char const *;

    /// The empty text. No allocation.
    CStringT() noexcept : m_text(EmptyText()) {}
    CStringT(std::nullptr_t) noexcept : m_text(EmptyText()) {}
    /// Shares the characters of `other`.
    CStringT(CStringT const & other) noexcept : m_text(other.m_text) { AddOwner(m_text); }
    /// Takes the characters over; `other` is left empty.
    CStringT(CStringT && other) noexcept : m_text(std::exchange(other.m_text, EmptyText())) {}
    /// A copy of the text up to its NUL; null gives the empty text.
    CStringT(Char const * text);
    /// A copy of `length` characters, NULs among them kept. A null `text` is allowed when `length` is 0.
    CStringT(Char const * text, int length);
    /// Narrow (UTF-8) text up to its NUL; null gives the empty text.
    explicit CStringT(char const * text);
    /// `length` bytes of narrow (UTF-8) text.
    CStringT(char const * text, int length);
    /// `count` times the character.
    explicit CStringT(Char fill, int count = 1);
    /// A copy of any other wide text, std::wstring included.
    explicit CStringT(std::basic_string_view<Char> text);
    ~CStringT() { DropOwner(m_text); }

    CStringT & operator=(CStringT const & other) noexcept
    {
        Char * const old = m_text;
        AddOwner(other.m_text);
        m_text = other.m_text;
        DropOwner(old);
        return *this;
    }
    CStringT & operator=(CStringT && other) noexcept
    {
        std::swap(m_text, other.m_text);
        return *this;
    }
    CStringT & operator=(std::nullptr_t) noexcept
    {
        Empty();
        return *this;
    }
    CStringT & operator=(Char const * text);
    CStringT & operator=(char const * text);
    CStringT & operator=(Char character);
    CStringT & operator=(std::basic_string_view<Char> text);
    CStringT & operator=(std::initializer_list<Char> characters)
    {
        return *this = std::basic_string_view<Char>(characters.begin(), characters.size());
    }

    /// The characters, never null, ended by a NUL; valid until the string is next changed.
    operator Char const *() const noexcept { return m_text; }
    Char const * GetString() const noexcept { return m_text; }
    std::basic_string_view<Char> View() const noexcept { return {m_text, static_cast<std::size_t>(GetLength())}; }

    int GetLength() const noexcept { return HeaderOf(m_text)->length; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    /// How many characters fit before the next allocation.
    int GetAllocLength() const noexcept { return HeaderOf(m_text)->capacity; }
    /// The empty text; the buffer is given back.
    void Empty() noexcept { DropOwner(std::exchange(m_text, EmptyText())); }
    void Swap(CStringT & other) noexcept { std::swap(m_text, other.m_text); }

    /// The character at a position; the length itself gives the closing NUL.
    Char operator[](int position) const { return GetAt(position); }
    Char GetAt(int position) const
    {
        if (position < 0 || position > GetLength())
            ThrowInvalidArgument();
        return m_text[position];
    }
    void SetAt(int position, Char character);

    /// A buffer of this string alone that holds the text and has room for at least `minLength` characters and a NUL.
    /// Write to it, then call ReleaseBuffer before any other operation.
    Char * GetBuffer(int minLength = 0);
    /// Sets the length after writing to the buffer; -1 takes the text up to its first NUL.
    void ReleaseBuffer(int newLength = -1);
    /// GetBuffer and, at once, the new length: characters past the old length are unset until they are written.
    Char * GetBufferSetLength(int length);
    /// Makes room for at least `length` characters; the text stays.
    void Preallocate(int length);
    /// Cuts the text down to `length` characters.
    void Truncate(int length);
    /// Gives back room that the text does not need.
    void FreeExtra();

    void SetString(Char const * text) { *this = text; }
    void SetString(Char const * text, int length);

    void Append(Char const * text);
    void Append(Char const * text, int length);
    void Append(CStringT const & text);
    void AppendChar(Char character);
    CStringT & operator+=(CStringT const & text);
    CStringT & operator+=(Char const * text);
    CStringT & operator+=(char const * text);
    CStringT & operator+=(Char character);
    CStringT & operator+=(std::basic_string_view<Char> text);

    /// Below, at or above 0; by character, case-sensitive. The text given ends at its NUL; null is the empty text.
    int Compare(Char const * text) const;
    int Compare(CStringT const & text) const noexcept;
    /// The same with ASCII letters folded to lower case.
    int CompareNoCase(Char const * text) const;

    /// The first position at or behind `start` where the character or text is found, else -1. The empty text is found
    /// at `start`.
    int Find(Char character, int start = 0) const noexcept;
    int Find(Char const * text, int start = 0) const noexcept;
    /// The first position that holds any character of `set`, else -1.
    int FindOneOf(Char const * set) const noexcept;
    /// The last position that holds the character, else -1.
    int ReverseFind(Char character) const noexcept;

    /// Removes up to `count` characters from `position` on; gives the new length. A position past the end does nothing.
    int Delete(int position, int count = 1);
    /// Inserts in front of `position`, brought back into the text; gives the new length.
    int Insert(int position, Char character);
    int Insert(int position, Char const * text);
    /// Replaces every occurrence; gives how many.
    int Replace(Char from, Char to);
    int Replace(Char const * from, Char const * to);
    /// Removes every occurrence; gives how many.
    int Remove(Char character);

    /// Parts of the text. Counts and positions outside the text are brought back into it.
    CStringT Left(int count) const;
    CStringT Right(int count) const;
    CStringT Mid(int first) const;
    CStringT Mid(int first, int count) const;
    /// The longest beginning made only of characters of `set`, or with no character of it.
    CStringT SpanIncluding(Char const * set) const;
    CStringT SpanExcluding(Char const * set) const;

    /// Remove, from the named end or both, blanks, one character, or the characters of a set.
    CStringT & Trim();
    CStringT & Trim(Char character);
    CStringT & Trim(Char const * set);
    CStringT & TrimLeft();
    CStringT & TrimLeft(Char character);
    CStringT & TrimLeft(Char const * set);
    CStringT & TrimRight();
    CStringT & TrimRight(Char character);
    CStringT & TrimRight(Char const * set);

    /// ASCII letters only.
    CStringT & MakeLower();
    CStringT & MakeUpper();
    CStringT & MakeReverse();

    /// The next token at or behind `start`, which moves behind it; runs of delimiters count as one. When no token is
    /// left the result is empty and `start` is -1. Without delimiters the whole rest is one token.
    CStringT Tokenize(Char const * delimiters, int & start) const;

    /// Formats in the `printf` manner, by the platform's rules (see the top). Arguments may be strings of this class:
    /// they are passed as their characters, so `text.Format(L"<%s>", text)` is safe.
    template <class... Args>
    void Format(Char const * format, Args const &... args)
    {
        FormatArguments(false, format, Argument(args)...);
    }
    /// The same with the text resource of that number as the format; without such a resource the result is empty.
    template <class... Args>
    void Format(unsigned int formatId, Args const &... args)
    {
        CStringT format;
        format.LoadString(formatId);
        FormatArguments(false, format.GetString(), Argument(args)...);
    }
    template <class... Args>
    void AppendFormat(Char const * format, Args const &... args)
    {
        FormatArguments(true, format, Argument(args)...);
    }
    void FormatV(Char const * format, va_list arguments);
    void AppendFormatV(Char const * format, va_list arguments);

    /// Takes the text resource of that number (qvlib/host/resources.h). False, and the string unchanged, when there is
    /// none.
    bool LoadString(unsigned int id);

    friend CStringT operator+(CStringT const & a, CStringT const & b)
    {
        return Joined(a.m_text, a.GetLength(), b.m_text, b.GetLength());
    }
    friend CStringT operator+(CStringT const & a, Char const * b) { return Joined(a.m_text, a.GetLength(), b, -1); }
    friend CStringT operator+(Char const * a, CStringT const & b) { return Joined(a, -1, b.m_text, b.GetLength()); }
    friend CStringT operator+(CStringT const & a, Char b) { return Joined(a.m_text, a.GetLength(), &b, 1); }
    friend CStringT operator+(Char a, CStringT const & b) { return Joined(&a, 1, b.m_text, b.GetLength()); }
    friend CStringT operator+(CStringT && a, CStringT const & b)
    {
        a += b;
        return std::move(a);
    }
    friend CStringT operator+(CStringT && a, Char const * b)
    {
        a += b;
        return std::move(a);
    }
    friend CStringT operator+(CStringT && a, Char b)
    {
        a += b;
        return std::move(a);
    }

    friend bool operator==(CStringT const & a, CStringT const & b) noexcept
    {
        return a.m_text == b.m_text || a.View() == b.View();
    }
    friend bool operator==(CStringT const & a, Char const * b) { return a.Compare(b) == 0; }
    friend bool operator==(CStringT const & a, std::basic_string_view<Char> b) noexcept { return a.View() == b; }
    friend std::strong_ordering operator<=>(CStringT const & a, CStringT const & b) noexcept
    {
        return a.Compare(b) <=> 0;
    }
    friend std::strong_ordering operator<=>(CStringT const & a, Char const * b) { return a.Compare(b) <=> 0; }

private:
    struct Header
    {
        std::atomic<std::int32_t> owners;
        std::int32_t length;
        std::int32_t capacity; ///< 0 only in the one buffer that all empty strings share and nobody counts
    };
    struct EmptyBuffer
    {
        Header header;
        Char nul;
    };
    static EmptyBuffer s_empty;

    static Char * EmptyText() noexcept { return &s_empty.nul; }
    static Header * HeaderOf(Char * text) noexcept { return reinterpret_cast<Header *>(text) - 1; }
    static void AddOwner(Char * text) noexcept
    {
        // Relaxed: whoever copies already holds an owner, so nothing has to be seen through this increment.
        if (HeaderOf(text)->capacity != 0)
            HeaderOf(text)->owners.fetch_add(1, std::memory_order_relaxed);
    }
    static void DropOwner(Char * text) noexcept
    {
        if (HeaderOf(text)->capacity != 0)
            DropCounted(text);
    }
    static void DropCounted(Char * text) noexcept;
    static Char * Allocate(std::size_t capacity);
    static CStringT Joined(Char const * a, int aLength, Char const * b, int bLength);
    [[noreturn]] static void ThrowInvalidArgument();

    bool IsShared() const noexcept;
    Char * PrepareWrite(std::size_t length, bool grow);
    void SetLength(int length) noexcept;
    void Assign(Char const * text, std::size_t length);
    void AppendText(Char const * text, std::size_t length);
    void AssignNarrow(char const * text, std::size_t length);
    void AppendNarrow(char const * text, std::size_t length);
    void TrimTo(int first, int last);
    void FormatArguments(bool append, Char const * format, ...);

    /// What stands for an argument among variable arguments: the characters of a string, else the argument itself.
    template <class T>
    static auto Argument(T const & argument) noexcept
    {
        if constexpr (std::is_base_of_v<CStringT, T>)
            return argument.GetString();
        else
            return static_cast<std::decay_t<T const>>(argument);
    }

    Char * m_text;
};

extern template class CStringT<wchar_t>;

static_assert(sizeof(CStringT<wchar_t>) == sizeof(void *));

template <class Char>
struct std::hash<CStringT<Char>>
{
    std::size_t operator()(CStringT<Char> const & text) const noexcept
    {
        return std::hash<std::basic_string_view<Char>>()(text.View());
    }
};
