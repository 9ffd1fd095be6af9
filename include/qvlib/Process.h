// Process: the paths of the running program and of its modules, and other programs started and asked after.
//
//     unsigned long id = 0;
//     if (qvlib::Process::Execute(L"\\usr\\bin\\touch", L"\"a file\" other", id))
//         while (qvlib::Process::IsRunning(id))
//             Wait();
//
// Nothing throws but for want of memory; failure is false or an empty text. Thread-safe.
#pragma once

#include "qvlib/QVString.h"
#include "qvlib/export.h"
#include "qvlib/host/types.h"

namespace qvlib
{

struct QVLIB_API Process
{
    Process() = default;
    Process(Process const &) = default;
    /// Assignments do nothing.
    Process & operator=(Process const &) noexcept { return *this; }
    Process & operator=(Process &&) noexcept { return *this; }

    /// Starts a program and doesn't wait for it. It gets the words of `arguments` by the platform's quoting rules (see
    /// CreateProcessW in host/process.h), with no shell between. Without a path, the first word of the arguments, in
    /// quotation marks or not, names the program. On failure `processId` stays as it was.
    static bool Execute(wchar_t const * path, wchar_t const * arguments, unsigned long & processId);
    /// Whether the process is there, may be asked, and hasn't ended.
    static bool IsRunning(unsigned long processId);

    /// The program's file, from the system's root on; its folder with a separator at the end; its name with and without
    /// the extension. A path of more than 259 characters is cut off.
    static CQVString GetImagePath();
    static CQVString GetImageFolder();
    static CQVString GetBaseName();
    static CQVString GetBaseNameNoExtension();

    /// The same of a module of the process, which the address of anything in it tells. Null is the program.
    static CQVString GetModulePath(HINSTANCE module);
    static CQVString GetModuleName(HINSTANCE module);
    static CQVString GetModuleNameNoExtension(HINSTANCE module);

    /// The forms of a path that something stands at. Empty for a missing one and for more than 259 characters.
    static CQVString GetLongPath(wchar_t const * path);
    static CQVString GetShortPath(wchar_t const * path);
};

} // namespace qvlib
