#include "qvlib/FileEnumerator.h"

#include "qvlib/PathUrl.h"

#include <memory>

namespace qvlib
{

FileEnumerator::~FileEnumerator() { Clear(); }

void FileEnumerator::Clear() noexcept
{
    for (CFileFind * const finder : m_finders)
        delete finder;
    m_finders.clear();
}

void FileEnumerator::Reset()
{
    Clear();
    m_descend = false;
    m_more = EnterRecursion(m_root.GetString());
}

bool FileEnumerator::MoveNext()
{
    while (!m_finders.empty())
    {
        if (m_descend && m_recursive)
        {
            CString const directory = m_finders.front()->GetFilePath();
            if (!m_more)
                m_more = ExitRecursion();
            // What can't be entered is not tried again.
            m_descend = false;
            if (EnterRecursion(directory.GetString()))
                m_more = true;
        }
        else if (!m_more)
            m_more = ExitRecursion();
        if (!m_more)
            return false;

        CFileFind & finder = *m_finders.front();
        m_more = finder.FindNextFile() != FALSE;
        if (finder.IsDots())
        {
            m_descend = false;
            continue;
        }
        m_descend = finder.IsDirectory() != FALSE;
        return true;
    }
    return false;
}

bool FileEnumerator::EnterRecursion(wchar_t const * directory)
{
    CQVString path = TLMakePath(nullptr, directory, m_pattern.GetString(), nullptr);
    if (path.IsEmpty())
        return false;
    auto finder = std::make_unique<CFileFind>();
    if (finder->FindFile(path.GetString()) == FALSE)
        return false;
    m_finders.push_front(finder.get());
    finder.release();
    m_descend = false;
    return true;
}

bool FileEnumerator::ExitRecursion()
{
    if (m_finders.empty())
        return false;
    delete m_finders.front();
    m_finders.pop_front();
    m_descend = false;
    return !m_finders.empty();
}

} // namespace qvlib
