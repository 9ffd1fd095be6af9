#include "host/linux/internal/system_messages.h"

#include <algorithm>
#include <iterator>

namespace qvlib::host
{

namespace
{

struct Message
{
    DWORD code;
    char const * text;
};

// In rising order of the code.
constexpr Message kMessages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough storage is available to process this command."},
    {10, "The environment is incorrect."},
    {11, "An attempt was made to load a program with an incorrect format."},
    {12, "The access code is invalid."},
    {13, "The data is invalid."},
    {14, "Not enough storage is available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {16, "The directory cannot be removed."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {20, "The system cannot find the device specified."},
    {21, "The device is not ready."},
    {22, "The device does not recognize the command."},
    {23, "Data error (cyclic redundancy check)."},
    {24, "The program issued a command but the command length is incorrect."},
    {25, "The drive cannot locate a specific area or track on the disk."},
    {26, "The specified disk or diskette cannot be accessed."},
    {27, "The drive cannot find the sector requested."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {36, "Too many files opened for sharing."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {120, "This function is not supported on this system."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {128, "There are no child processes to wait for."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {132, "The file pointer cannot be set on the specified device or file."},
    {145, "The directory is not empty."},
    {161, "The specified path is invalid."},
    {170, "The requested resource is in use."},
    {183, "Cannot create a file when that file already exists."},
    {206, "The filename or extension is too long."},
    {231, "All pipe instances are busy."},
    {232, "The pipe is being closed."},
    {233, "No process is on the other end of the pipe."},
    {234, "More data is available."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {267, "The directory name is invalid."},
    {288, "Attempt to release mutex not owned by caller."},
    {298, "Too many posts were made to a semaphore."},
    {487, "Attempt to access invalid address."},
    {534, "Arithmetic result exceeded 32 bits."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {996, "Overlapped I/O event is not in a signaled state."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {1001, "Recursion too deep; the stack overflowed."},
    {1004, "Invalid flags."},
    {1006, "The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1016,
     "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or write out, "
     "or flush, one of the files that contain the system's image of the registry."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1020, "Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1053, "The service did not respond to the start or control request in a timely fashion."},
    {1060, "The specified service does not exist as an installed service."},
    {1062, "The service has not been started."},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, "A dynamic link library (DLL) initialization routine failed."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1157, "One of the library files needed to run this application cannot be found."},
    {1168, "Element not found."},
    {1223, "The operation was canceled by the user."},
    {1300, "Not all privileges or groups referenced are assigned to the caller."},
    {1314, "A required privilege is not held by the client."},
    {1326, "The user name or password is incorrect."},
    {1400, "Invalid window handle."},
    {1403, "Invalid hook handle."},
    {1406, "Cannot create a top-level child window."},
    {1407, "Cannot find window class."},
    {1408, "Invalid window; it belongs to other thread."},
    {1410, "Class already exists."},
    {1411, "Class does not exist."},
    {1413, "Invalid index."},
    {1444, "Invalid thread identifier."},
    {1450, "Insufficient system resources exist to complete the requested service."},
    {1455, "The paging file is too small for this operation to complete."},
    {1460, "This operation returned because the timeout period expired."},
    {1722, "The RPC server is unavailable."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
    {1816, "Not enough quota is available to process this command."},
    {0x8000000A, "The data necessary to complete this operation is not yet available."},
    {0x80004001, "Not implemented"},
    {0x80004002, "No such interface supported"},
    {0x80004003, "Invalid pointer"},
    {0x80004004, "Operation aborted"},
    {0x80004005, "Unspecified error"},
    {0x8000FFFF, "Catastrophic failure"},
    {0x80010106, "Cannot change thread mode after it is set."},
    {0x80010108, "The object invoked has disconnected from its clients."},
    {0x8001010E, "The application called an interface that was marshalled for a different thread."},
    {0x80020001, "Unknown interface."},
    {0x80020003, "Member not found."},
    {0x80020004, "Parameter not found."},
    {0x80020005, "Type mismatch."},
    {0x80020006, "Unknown name."},
    {0x80020007, "No named arguments."},
    {0x80020008, "Bad variable type."},
    {0x80020009, "Exception occurred."},
    {0x8002000A, "Out of present range."},
    {0x8002000B, "Invalid index."},
    {0x8002000C, "Unknown language."},
    {0x8002000D, "Memory is locked."},
    {0x8002000E, "Invalid number of parameters."},
    {0x8002000F, "Parameter not optional."},
    {0x80020010, "Invalid callee."},
    {0x80020011, "Does not support a collection."},
    {0x80020012, "Division by zero."},
    {0x80030001, "Unable to perform requested operation."},
    {0x80030002, "%1 could not be found."},
    {0x80030005, "Access Denied."},
    {0x80030008, "There is insufficient memory available to complete operation."},
    {0x80030009, "Invalid pointer error."},
    {0x80030019, "A disk error occurred during a seek operation."},
    {0x8003001D, "A disk error occurred during a write operation."},
    {0x8003001E, "A disk error occurred during a read operation."},
    {0x80030057, "Invalid parameter error."},
    {0x80030070, "There is insufficient disk space to complete operation."},
    {0x800300FB, "The name is not valid."},
    {0x80040110, "Class does not support aggregation (or class object is remote)"},
    {0x80040111, "ClassFactory cannot supply requested class"},
    {0x80040150, "Could not read key from registry"},
    {0x80040151, "Could not write key to registry"},
    {0x80040152, "Could not find the key in the registry"},
    {0x80040153, "Invalid value for registry"},
    {0x80040154, "Class not registered"},
    {0x80040155, "Interface not registered"},
    {0x800401E3, "Operation unavailable"},
    {0x800401E4, "Invalid syntax"},
    {0x800401EA, "Moniker cannot open file"},
    {0x800401F0, "CoInitialize has not been called."},
    {0x800401F1, "CoInitialize has already been called."},
    {0x800401F2, "Class of object cannot be determined"},
    {0x800401F3, "Invalid class string"},
    {0x800401FD, "Object is not connected to server"},
    {0x80040200, "There is no connection for this connection ID"},
};

constexpr bool InOrder()
{
    for (std::size_t i = 1; i < std::size(kMessages); ++i)
        if (kMessages[i - 1].code >= kMessages[i].code)
            return false;
    return true;
}
static_assert(InOrder());

char const * Find(DWORD code) noexcept
{
    auto const found = std::lower_bound(std::begin(kMessages), std::end(kMessages), code,
                                        [](Message const & message, DWORD wanted) { return message.code < wanted; });
    return found != std::end(kMessages) && found->code == code ? found->text : nullptr;
}

} // namespace

char const * SystemMessage(DWORD code) noexcept
{
    if (char const * const text = Find(code))
        return text;
    return (code & 0xFFFF0000U) == 0x80070000U ? Find(code & 0xFFFFU) : nullptr;
}

} // namespace qvlib::host
