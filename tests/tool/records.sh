#!/usr/bin/env bash
# Archives: make, show, merge, diff. Nothing may be lost in silence.
. "$(dirname "$0")/lib.sh"

ship() { local status=$1; shift; expect "$status" make "${shape[@]}" "$@"; }

ship 0 --set Carriage=Air --set Reference=S-1 --set Sender=A --set Receiver=B --set Weight=12.5 --set Pieces=3 \
    --set Flight=QV1 --set 'Packaging=pallet' --set Pickup=2024-06-15 --set Insured=yes --set 'Remark=Grüße "x" 荷物 😀' \
    --strict -o "$work/a.qva"
silent
expect 0 show "${shape[@]}" "$work/a.qva"
printed "Shipment"
printed "  Carriage   Air (By air)"
printed "  Packaging  Pallet"
printed "  Pickup     2024-06-15"
expect 0 show "${shape[@]}" --json "$work/a.qva"
is_json "$out"
printed '"Carriage": "Air"'
printed '"Weight": 12.5'
printed '"Pieces": 3'
printed '"Insured": true'
printed '"Remark": "Grüße \"x\" 荷物 😀"'
expect 0 show "${shape[@]}" --strings "$metadata/Strings.fr.xml" "$work/a.qva"
printed "Air (Par avion)"
# By id, by a file of items, and from a folder of enums: the same record.
cat >"$work/items" <<'X'
1=Air
Reference=S-1
Sender=A
Receiver=B

Weight=+12.50
6=03
Flight=QV1
Packaging=Pallet
Pickup=2024-06-15
Insured=TRUE
Remark=Grüße "x" 荷物 😀
X
ship 0 --set-file "$work/items" -o "$work/b.qva"
same "$work/a.qva" "$work/b.qva"

# What is refused, and why. Nothing is written.
refused() { ship 1 --set Carriage=Air --set "$1" -o "$work/refused.qva"; told "$2"; absent "$work/refused.qva"; }
refused Colour=red "has no field Colour"
refused weight=1 "did you mean Weight?"
refused Pieces=three 'Pieces: "three" is no Int'
refused Pieces= 'is no Int'
refused Pieces=3x 'is no Int'
refused Pieces=3000000000 'does not fit an Int: it would be kept as 2147483647'
refused TruckAxles=256 'does not fit a Byte'
refused Weight=heavy 'is no Double'
refused Weight=inf 'is no Double'
refused 'Weight=nan(1)' 'is no Double'
refused Weight=0x10 'is no Double'
refused Weight=1e999 'does not fit a Double'
refused Insured=maybe 'is no Bool'
refused Pickup=tomorrow 'is no Date'
refused "Packaging=Steel drum" 'did you mean Drum? Its display is Steel drum'
refused Packaging=30 'did you mean Drum? Its code is 30'
refused Packaging=Crate 'is no value of the enum Packaging: there are Carton, Pallet, Drum'
ship 1 --set Carriage=Air --set Weight=1 --set Carriage=Sea -o "$work/refused.qva"
told "empties the record and would lose:"
told "  Weight = 1"
printf 'Carriage=Air\nPieces=x\n' >"$work/bad"
ship 1 --set-file "$work/bad" -o "$work/refused.qva"
told 'bad:2: Pieces: "x" is no Int'
expect 2 make -m "$metadata/Shipment.xml" --set Carriage=Air -o "$work/refused.qva"
told "Carriage: no --enum gives TransportMode"
absent "$work/refused.qva"

# Required fields: a note, or a refusal.
ship 0 --set Carriage=Road --set Reference=r -o "$work/r.qva"
told "note: 4 required fields missing: Receiver, Sender, Truck, Weight"
ship 1 --strict --set Carriage=Road --set Reference=r -o "$work/refused.qva"
told "4 required fields missing"
ship 1 --strict -o "$work/refused.qva"
told "missing: Carriage, Receiver, Reference, Sender"
absent "$work/refused.qva"

# A selector that is stored late: the record would come back without what stands before it.
sed 's/Name="Carriage" Id="1"/Name="Carriage" Id="10000"/' "$metadata/Shipment.xml" >"$work/late.xml"
late=(-m "$work/late.xml" -e "$metadata")
cp "$work/a.qva" "$work/kept.qva"
expect 1 make "${late[@]}" --set Carriage=Air --set Weight=1 --set Remark=r -o "$work/kept.qva"
told "would lose 1 item"
told "Weight = 1: it stands before the selector Carriage"
same "$work/a.qva" "$work/kept.qva"
expect 1 make "${late[@]}" --set Carriage=Air --set Weight=1 -o "$work/refused.qva"
absent "$work/refused.qva"
[ -z "$(find "$work" -name '*.new-*')" ] || fail "a temporary file is left"
# The same concept keeps what sorts behind the selector: nothing is lost, nothing is refused.
expect 0 make "${late[@]}" --set Carriage=Air --set Remark=r -o "$work/late.qva"

# Where it is written: into an existing file with its rights, through a link, and not over a folder.
chmod 600 "$work/kept.qva"
ln -s kept.qva "$work/link.qva"
ship 0 --set Carriage=Sea -o "$work/link.qva"
[ -L "$work/link.qva" ] && [ "$(stat -c %a "$work/kept.qva")" = 600 ] || fail "link or rights are lost"
expect 0 show "${shape[@]}" "$work/kept.qva"
printed "Sea"
mkdir "$work/folder"
ship 1 --set Carriage=Sea -o "$work/folder"
told "not a regular file"
ship 1 --set Carriage=Sea -o "$work/none/x.qva"
told "cannot write"

# Archives that are none.
size=$(stat -c %s "$work/a.qva")
for ((cut = 0; cut < size; cut += 7)); do
    head -c "$cut" "$work/a.qva" >"$work/cut.qva"
    "$tool" show "${shape[@]}" "$work/cut.qva" >"$out" 2>"$err"
    status=$?
    last=("cut at $cut")
    [ $status -eq 1 ] && [ -s "$err" ] || fail "a cut archive gives exit status $status"
done
head -c 40 "$work/a.qva" >"$work/cut.qva"
expect 1 show "${shape[@]}" "$work/cut.qva"
told "cut.qva: is cut short"
{ cat "$work/a.qva"; printf x; } >"$work/more.qva"
expect 1 show "${shape[@]}" "$work/more.qva"
told "1 byte more than a record has"
expect 1 show "${shape[@]}" "$metadata/Shipment.xml"
told "is no record, or a newer version wrote it"
head -c 100 /dev/zero >"$work/zero.qva"
expect 1 show "${shape[@]}" "$work/zero.qva"
printf '\2' | cat - <(tail -c +2 "$work/a.qva") >"$work/newer.qva"
expect 1 show "${shape[@]}" "$work/newer.qva"
told "a newer version wrote it"

# Read with another shape: what falls away is told.
sed '/Name="Flight"/d' "$metadata/Shipment.xml" >"$work/other.xml"
expect 1 show -m "$work/other.xml" -e "$metadata" "$work/a.qva"
told "not read: Flight = QV1: the concept has no such field"
printed "Reference"
mkdir "$work/enums"
cp "$metadata/TransportMode.xml" "$metadata/ServiceLevel.xml" "$work/enums"
sed '/Pallet/d' "$metadata/Packaging.xml" >"$work/enums/Packaging.xml"
expect 1 show -m "$metadata/Shipment.xml" -e "$work/enums" "$work/a.qva"
told "not read: Packaging = Pallet: no value of the enum Packaging"
sed -i '/Name="Air"/d' "$work/enums/TransportMode.xml"
expect 1 show -m "$metadata/Shipment.xml" -e "$work/enums" "$work/a.qva"
told "is no record of the concept Shipment"

# diff
expect 0 diff "${shape[@]}" "$work/a.qva" "$work/b.qva"
[ ! -s "$out" ] || fail "equal records differ"
ship 0 --set Carriage=Air --set Reference=S-2 --set Weight=12.5 --set Vessel=V -o "$work/c.qva"
expect 1 diff "${shape[@]}" "$work/a.qva" "$work/c.qva"
printed "- Reference = S-1"
printed "+ Reference = S-2"
printed "- Sender = A"
printed "+ Vessel = V"
not_printed "Weight"
expect 1 diff "${shape[@]}" "$work/a.qva" "$work/cut.qva"

# merge
expect 0 merge "${shape[@]}" "$work/a.qva" "$work/c.qva" -o "$work/m.qva"
expect 0 show "${shape[@]}" "$work/m.qva"
printed "  Reference  S-2"
printed "  Sender     A"
printed "  Vessel     V"
expect 0 merge "${shape[@]}" "$work/m.qva" "$work/c.qva" -o "$work/m.qva"
# A selector that comes new with B would empty what is there.
ship 0 --set Remark=S-3 -o "$work/plain.qva"
expect 1 merge "${shape[@]}" "$work/plain.qva" "$work/c.qva" -o "$work/refused.qva"
told "would lose 1 item"
absent "$work/refused.qva"
# The other way round the selector and all else stay.
expect 0 merge "${shape[@]}" "$work/c.qva" "$work/plain.qva" -o "$work/m.qva"
expect 1 diff "${shape[@]}" "$work/c.qva" "$work/m.qva"
[ "$(cat "$out")" = "+ Remark = S-3" ] || fail "more than the remark differs"
expect 1 merge "${shape[@]}" "$work/a.qva" "$work/cut.qva" -o "$work/refused.qva"
expect 1 merge -m "$work/other.xml" -e "$metadata" "$work/a.qva" "$work/c.qva" -o "$work/refused.qva"
told "Flight = QV1"
absent "$work/refused.qva"
finish
