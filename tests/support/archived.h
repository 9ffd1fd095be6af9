// Archives in memory, for records that serialise themselves.
#pragma once

#include <qvlib/framework/archive.h>
#include <qvlib/framework/memfile.h>

#include <vector>

namespace qvlib_test
{

using Bytes = std::vector<unsigned char>;

/// The bytes that `write` puts into an archive.
template <class Container = Bytes, class Write>
Container Archived(Write const & write)
{
    CMemFile file;
    CArchive archive(&file, CArchive::store);
    write(archive);
    archive.Close();
    Container bytes(static_cast<std::size_t>(file.GetLength()), 0);
    file.SeekToBegin();
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

/// Lets `read` take what it wants from an archive of the bytes.
template <class Container, class Read>
void ReadArchived(Container const & bytes, Read const & read)
{
    CMemFile file;
    if (!bytes.empty())
        file.Write(bytes.data(), static_cast<UINT>(bytes.size()));
    file.SeekToBegin();
    CArchive archive(&file, CArchive::load);
    read(archive);
}

template <class T>
Bytes Stored(T record)
{
    return Archived([&](CArchive & archive) { record.Serialize(archive); });
}

template <class T>
void LoadInto(T & record, Bytes const & bytes)
{
    ReadArchived(bytes, [&](CArchive & archive) { record.Serialize(archive); });
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
