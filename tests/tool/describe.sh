#!/usr/bin/env bash
# The three forms of "describe".
. "$(dirname "$0")/lib.sh"

expect 0 describe "$metadata"
printed "concept Shipment ("
printed "    1  Carriage    DynamicEnums.TransportMode  (selector)"
printed "    -  Remark"
printed "Unit=kg"
printed "  always required: Reference, Sender, Receiver"
printed "  option Air: By air"
printed "    required: Weight, Pieces, Flight"
printed "    optional: Packaging, Service, Insured, Remark"
printed "enum TransportMode ("
printed ", default Road"
printed "    2  Express   Express"
printed "for Carriage = Air"
printed "where Channel = Web: Next day"
printed "settings ShippingDesk ("
printed "  MaxPieces = 250  (Int)"
printed "MODE_ROAD            Straße"

# Without its enum an option still has its lists, but no display.
expect 0 describe "$metadata/Shipment.xml"
printed "  option Air"
not_printed "By air"
printed "(its enum is not given)"

# An option with optional fields only, and one without any.
cat >"$work/c.xml" <<'X'
<DynamicConcept Name="C"><Fields><Field Name="K"/><Field Name="F"/></Fields>
<Selector Field="K"><Option Value="b"><OptionalFields>F</OptionalFields></Option><Option Value="a"/></Selector>
</DynamicConcept>
X
expect 0 describe "$work/c.xml"
printed "  option b
    required: -
    optional: F
  option a"

expect 0 describe --strings "$metadata/Strings.de.xml" "$metadata"
printed "  option Road: Straße"
printed "where Channel = Web: Morgen da"
printed "Guten Tag, was dürfen wir versenden?"
expect 0 describe --strings "$metadata/Strings.de.xml" --strings "$metadata/Strings.fr.xml" "$metadata/Packaging.xml"
printed "Stahlfass"

expect 0 describe --format json "$metadata"
is_json "$out"
printed '"display": "Steel drum"'
printed '"value": 250,'
cat >"$work/odd.xml" <<'X'
<DynamicEnum Name="q&quot;\&#9;&#10;&#x1F600;"><Item Name="a&quot;b" Display="x\y"/></DynamicEnum>
X
expect 0 describe --format json "$work/odd.xml"
is_json "$out"
printed '"name": "q\"\\\t\n😀"'
expect 0 describe --format dot "$work/odd.xml"
printed 'a\"b (x\\y)'

expect 0 describe --format dot "$metadata"
printed '"concept Shipment" -> "enum Packaging" [label="Packaging\n"];'
printed '"concept Shipment" -> "option Shipment.Air" [style=dashed];'
if command -v dot >/dev/null; then
    dot -Tsvg "$out" >/dev/null 2>"$err" || fail "Graphviz does not take it"
fi
expect 2 describe "$work/none.xml"
printf '<a/>' >"$work/other.xml"
expect 2 describe "$work/other.xml"
told "no metadata: the root element is a"
finish
