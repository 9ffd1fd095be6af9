// CTLNameValueGrammar: a list of named values as a line of text, Name="Value",Other="Value".
//
//     qvlib::CTLNameValueGrammar const grammar;
//     qvlib::CTLNameValueVector list;
//     if (grammar.Read(L"Host = \"example.org\", Port = \"80\"", list))
//         list.Get(L"Port")->SetValue(qvlib::CGenericVal(8080));
//     qvlib::CQVString line = grammar.Write(list); // Host="example.org",Port="8080"
//
// What a reader may not expect of the form:
//  - A name is letters and digits, nothing else. Every value reads as a String.
//  - There is no escape: a value ends at the first quote, and one that holds a quote is written so that it does not
//    read back. Blanks just inside the quotes are not part of the value, so values that begin or end in blanks come
//    back without them; blanks within stay.
//  - A separator that begins with a blank never matches, since blanks in front of it are passed over first. An empty
//    one lets items follow each other directly.
#pragma once

#include "qvlib/NameValue.h"
#include "qvlib/QVString.h"
#include "qvlib/export.h"

namespace qvlib
{

/// Thread-compatible: Read and Write may run at once while nobody sets the separator.
class QVLIB_API CTLNameValueGrammar
{
public:
    /// The separator is a comma.
    CTLNameValueGrammar();

    /// What stands between two items when they are read and written. Without regard to case (of ASCII letters), it is
    /// kept, and written, in lower case.
    void SetSeparator(CQVString const & separator, bool caseSensitive);

    /// Reads the text up to its NUL. True when all of it is a list of at least one item, which replaces what `out`
    /// holds; otherwise false, with `out` as it was. Null is the empty text.
    bool Read(wchar_t const * text, CTLNameValueVector & out) const;

    /// The list as text; empty for an empty list.
    CQVString Write(CTLNameValueVector const & list) const;

private:
    CQVString m_separator;
    bool m_caseSensitive = true;
};

} // namespace qvlib
