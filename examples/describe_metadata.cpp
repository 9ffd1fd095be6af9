// Load metadata files and look at what they say.

#include "example.h"

int main()
{
    auto const shipment = LoadShipment();
    std::cout << "The concept " << Utf8(shipment->GetName()) << " has " << shipment->GetFields().size() << " fields:\n";
    for (auto const & field : shipment->GetFields())
    {
        std::cout << "  " << Utf8(field->GetName()) << ": " << Utf8(field->GetType());
        if (auto const unit = field->GetAttribute(L"Unit"); unit.HasValue())
            std::cout << " in " << Utf8(*unit.GetValue());
        std::cout << '\n';
    }

    // One field selects an option of the concept, and each option has its own required fields.
    for (auto const & mode : shipment->GetSelectorTypeMetadata()->GetValues())
    {
        std::cout << Utf8(mode->GetDisplay()) << " requires";
        for (auto const & field : shipment->GetFields())
            if (shipment->IsRequiredField(field->GetKey(), mode->GetName()))
                std::cout << ' ' << Utf8(field->GetName());
        std::cout << '\n';
    }

    // A concept can be cut down to some of its options.
    auto const onLand = shipment->CreateSupportedMetadata(L"Road");
    std::cout << "Cut down to Road it has " << onLand->GetSelectorTypeMetadata()->GetValues().size() << " option\n";
}
