// Interface packets: a reference to an object as bytes in a stream, from one thread of the process to another.
//
//     CoMarshalInterface(stream, IID_IUnknown, object, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL); // one thread
//     CoUnmarshalInterface(stream, IID_IUnknown, &received);                                      // another
//
// A packet holds a reference of its own from the moment it is written until it is read (MSHLFLAGS_NORMAL: once) or
// released. What is received is the object itself, not a stand-in for it: an object that is handed to another thread so
// must be fit to be called there. Packets of another process, or of any other making, are refused; none can be guessed.
// All functions are thread-safe; a stream belongs to one call at a time.
#pragma once

#if defined(_WIN32)
#include <objbase.h>
#else

#include "qvlib/host/com.h"

constexpr DWORD MSHCTX_LOCAL = 0;
constexpr DWORD MSHCTX_INPROC = 3;
constexpr DWORD MSHLFLAGS_NORMAL = 0;      ///< may be unmarshalled once
constexpr DWORD MSHLFLAGS_TABLESTRONG = 1; ///< any number of times, until it is released

constexpr HRESULT RPC_E_INVALID_OBJREF = static_cast<HRESULT>(0x8001011DU); ///< not a packet of this process
constexpr HRESULT CO_E_OBJNOTREG = static_cast<HRESULT>(0x800401FCU);       ///< read or released before

/// Writes a packet for the interface `iid` of the object. E_INVALIDARG for a null object or stream or other flags,
/// E_NOINTERFACE when the object doesn't have the interface; else the stream's own failure, which leaves no reference.
/// The contexts have no effect: a packet works within the process.
QVLIB_API HRESULT CoMarshalInterface(IStream * stream, REFIID iid, IUnknown * object, DWORD destContext,
                                     void * destContextData, DWORD flags);
/// Reads a packet and asks its object for `iid`. E_UNEXPECTED when the stream ends within the packet. A packet for one
/// reading is used up also when the object lacks the interface.
QVLIB_API HRESULT CoUnmarshalInterface(IStream * stream, REFIID iid, void ** object);
/// The bytes of a packet, the same for every object.
QVLIB_API HRESULT CoGetMarshalSizeMax(ULONG * size, REFIID iid, IUnknown * object, DWORD destContext,
                                      void * destContextData, DWORD flags);
/// Reads a packet and gives its reference back.
QVLIB_API HRESULT CoReleaseMarshalData(IStream * stream);

#endif
