#include "qvlib/StringVector.h"

#include "qvlib/DelimitedString.h"
#include "qvlib/framework/archive.h"

namespace qvlib
{

namespace
{

constexpr unsigned int kVersion = 1;

}

CQVString CStringVector::ToString() const
{
    CDelimitedString list;
    list.AddStrings(*this);
    return CQVString(std::move(static_cast<CQVString &>(list)));
}

void CStringVector::Serialize(CArchive & archive)
{
    if (archive.IsStoring())
    {
        archive << kVersion << static_cast<unsigned int>(size());
        for (CQVString const & item : *this)
            archive << item;
        return;
    }
    unsigned int version = 0;
    unsigned int count = 0;
    archive >> version;
    if (version > kVersion)
        AfxThrowArchiveException(CArchiveException::badSchema, archive.m_strFileName);
    archive >> count;
    // The count is not trusted: memory is taken for items that have arrived only.
    for (; count != 0; --count)
    {
        CQVString item;
        archive >> item;
        push_back(std::move(item));
    }
}

} // namespace qvlib
