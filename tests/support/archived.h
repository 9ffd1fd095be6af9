// Archives in memory, for records that serialise themselves.
#pragma once

#include <qvlib/framework/archive.h>
#include <qvlib/framework/memfile.h>

#include <vector>

namespace qvlib_test
{

using Bytes = std::vector<unsigned char>;

template <class T>
Bytes Stored(T record)
{
    CMemFile file;
    {
        CArchive archive(&file, CArchive::store);
        record.Serialize(archive);
        archive.Close();
    }
    Bytes bytes(static_cast<std::size_t>(file.GetLength()));
    file.SeekToBegin();
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

template <class T>
void LoadInto(T & record, Bytes const & bytes)
{
    CMemFile file;
    if (!bytes.empty())
        file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load);
    record.Serialize(archive);
}

template <class T>
T Loaded(Bytes const & bytes, T record = T())
{
    LoadInto(record, bytes);
    return record;
}

/// The cause of the archive exception that the call throws; -1 when it throws none.
template <class Call>
int CauseOf(Call const & call)
{
    try
    {
        call();
    }
    catch (CArchiveException const & error)
    {
        return error.m_cause;
    }
    return -1;
}

} // namespace qvlib_test
