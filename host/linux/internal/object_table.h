// The references that interface packets and display names stand for.
#pragma once

#include "qvlib/host/com.h"

#include <array>
#include <cstddef>

namespace qvlib::host
{

/// What stands in the stream: a mark, the process, and the entry. Random numbers of 64 and 128 bits: a packet that
/// somebody makes up leads nowhere.
inline constexpr std::size_t kPacketSize = 32;
using Packet = std::array<unsigned char, kPacketSize>;

/// Enters a reference to the object, `once` or for any number of readings. Throws std::bad_alloc.
Packet EnterObject(IUnknown * object, bool once);
/// The object of a packet, with a reference for the caller; the entry goes if it was for one reading, or with
/// `release`. RPC_E_INVALID_OBJREF, CO_E_OBJNOTREG.
HRESULT FindObject(Packet const & packet, bool release, IUnknown ** object);

} // namespace qvlib::host
