#include "qvlib/Dump.h"

#include <ostream>

namespace qvlib
{

namespace
{

void Banner(std::wostream & stream, wchar_t const * words, wchar_t const * name)
{
    TLDumpOutputSeparator(stream);
    stream << words << (name ? name : L"") << std::endl;
    TLDumpOutputSeparator(stream);
}

} // namespace

void TLDumpOutputBegin(std::wostream & stream, wchar_t const * name) { Banner(stream, L"Begin dump for ", name); }

void TLDumpOutputEnd(std::wostream & stream, wchar_t const * name) { Banner(stream, L"End dump for ", name); }

void TLDumpOutputSeparator(std::wostream & stream)
{
    stream << L"----------------------------------------"
              L"----------------------------------------\n";
}

void TLObjectDumpBegin(wchar_t const *) {}
void TLObjectDumpEnd(wchar_t const *) {}
void TLObjectDumpSeparator() {}

} // namespace qvlib
