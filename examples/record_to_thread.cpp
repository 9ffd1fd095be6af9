// A record goes through a stream to another thread, with what belongs to it.

#include "example.h"

#include <qvlib/DynamicConcept.h>
#include <qvlib/Marshalling.h>
#include <qvlib/Variant.h>
#include <qvlib/framework/comutil.h>
#include <qvlib/framework/olesafearray.h>

#include <thread>

using qvlib::CMarshalHelper;
using Stream = _com_ptr_t<IStream>;

namespace
{

void Rewind(Stream const & stream)
{
    LARGE_INTEGER const start{};
    stream->Seek(start, STREAM_SEEK_SET, nullptr);
}

// Runs on the other thread: reads first the weights, then the record.
void Receive(Stream stream, std::shared_ptr<qvlib::CTLDynamicConceptMetadata const> metadata)
{
    qvlib::qrvariant_t weights;
    qvlib::qrvariant_t properties;
    if (CMarshalHelper::ReadVariantFromMarshalling(weights, stream) != 0 ||
        CMarshalHelper::ReadVariantFromMarshalling(properties, stream) != 0)
        return;

    qvlib::CTLDynamicConcept shipment(metadata);
    shipment.FromVariant(properties);
    std::cout << "Shipment " << Utf8(shipment.Get(L"Reference").GetAsString()) << ", "
              << Utf8(shipment.Get(L"Pieces").GetAsString()) << " pieces of";
    COleSafeArray array(weights);
    for (long i = 0; i < static_cast<long>(array.GetOneDimSize()); ++i)
    {
        double weight = 0;
        array.GetElement(&i, &weight);
        std::cout << ' ' << weight << " kg";
    }
    std::cout << '\n';
}

} // namespace

int main()
{
    auto const metadata = LoadShipment();
    qvlib::CTLDynamicConcept shipment(metadata);
    shipment = L"Air";
    shipment.Set(L"Reference", L"S-1001");
    shipment.Set(L"Pieces", 3);

    double const weights[] = {12.5, 8, 3.25};
    COleSafeArray array;
    array.CreateOneDim(VT_R8, 3, weights);

    // The array travels as bytes. The properties are an object: its packet holds a reference until it is read.
    Stream const stream(SHCreateMemStream(nullptr, 0), false);
    CMarshalHelper::WriteVariantForMarshalling(array, stream, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL);
    CMarshalHelper::WriteVariantForMarshalling(shipment.ToVariant(), stream, MSHCTX_INPROC, nullptr, MSHLFLAGS_NORMAL);

    Rewind(stream);
    std::thread(Receive, stream, metadata).join();

    // A second reader comes too late for the object: a packet can be read once.
    Rewind(stream);
    qvlib::qrvariant_t value;
    CMarshalHelper::ReadVariantFromMarshalling(value, stream);
    bool const again = CMarshalHelper::ReadVariantFromMarshalling(value, stream) == 0;
    std::cout << "Read " << (again ? "twice" : "once") << '\n';
}
