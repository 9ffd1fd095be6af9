#!/usr/bin/env bash
# Records in the registry, and the commands that look after it.
. "$(dirname "$0")/lib.sh"
key='Software\Example\Shipment'

expect 0 make "${shape[@]}" --set Carriage=Air --set Reference=S-1 --set Weight=0.1 --set Pieces=3 --set Insured=no \
    --set Packaging=Drum --set 'Remark=Grüße 😀' -o "$work/a.qva"
expect 0 save "${shape[@]}" "$key" "$work/a.qva"
silent
expect 0 registry ls "$key"
printed '"Carriage" = text "Air"'
printed '"Packaging" = text "Drum"'
printed '"Remark" = text "Grüße 😀"'
expect 0 load "${shape[@]}" "$key" -o "$work/b.qva"
same "$work/a.qva" "$work/b.qva"
# Saving again replaces: what the new record lacks is gone.
expect 0 make "${shape[@]}" --set Carriage=Sea --set Vessel=V -o "$work/c.qva"
expect 0 save "${shape[@]}" "$key" "$work/c.qva"
expect 0 load "${shape[@]}" "$key" -o "$work/b.qva"
same "$work/c.qva" "$work/b.qva"
expect 0 registry ls -r 'Software\Example'
not_printed "~new"

# A record that would not come back, as the registry takes a name that begins with a number for an id: no key is left, and a key in use stays as it was.
sed 's/Name="Truck"/Name="2ndTruck"/; s/Truck</2ndTruck</' "$metadata/Shipment.xml" >"$work/second.xml"
second=(-m "$work/second.xml" -e "$metadata")
expect 0 make "${second[@]}" --set Carriage=Road --set 2ndTruck=b -o "$work/second.qva"
expect 1 save "${second[@]}" 'Software\Other\Deep\Key' "$work/second.qva"
told "not saved, since reading it back: would lose 1 item"
told "2ndTruck = b"
expect 1 registry ls 'Software\Other'
told "there is none"
expect 0 registry export "$key" -o "$work/before"
expect 1 save "${second[@]}" "$key" "$work/second.qva"
expect 0 registry export "$key" -o "$work/after"
same "$work/before" "$work/after"
expect 1 save "${shape[@]}" "$key" "$work/second.qva"
told "2ndTruck = b: the concept has no such field"

# What the key holds besides is not dropped in silence.
expect 0 registry set "$key" Pieces many
expect 0 registry set "$key" --type dword Weight 7
expect 0 registry set "$key" Colour red
expect 1 load "${shape[@]}" "$key" -o "$work/refused.qva"
told 'Weight = dword 7: it is no text'
told 'Colour = text "red": the concept has no such field'
absent "$work/refused.qva"
expect 1 load "${shape[@]}" 'Software\None' -o "$work/refused.qva"
told 'key Software\None: there is none'
expect 1 load -m "$metadata/Shipment.xml" "$key" -o "$work/refused.qva"
absent "$work/refused.qva"

# Values of every kind.
key='Software\Example\Kinds'
expect 0 registry set "$key" text 'a "b" \ ü 😀'
expect 0 registry set "$key" empty ''
expect 0 registry set "$key" '' 'the default'
expect 0 registry set --type expand "$key" expand '%HOME%'
expect 0 registry set --type dword "$key" dword 4294967295
expect 0 registry set --type qword "$key" qword 18446744073709551615
expect 0 registry set --type binary "$key" binary '00 ff10'
expect 0 registry set --type binary "$key" nothing ''
expect 0 registry set --type list "$key" list red green 'light blue'
expect 0 registry set --type list "$key" 'no list'
get() { expect 0 registry get "$key" "$1"; [ "$(cat "$out")" = "$2" ] || fail "$1 is $(cat "$out")"; }
get text 'a "b" \ ü 😀'
get empty ''
get '' 'the default'
get expand '%HOME%'
get dword 4294967295
get qword 18446744073709551615
get binary '00 ff 10'
get list $'red\ngreen\nlight blue'
get 'no list' ''
expect 0 registry get --type "$key" list
printed 'list "red" "green" "light blue"'
expect 2 registry set --type dword "$key" d 4294967296
expect 2 registry set --type dword "$key" d -1
expect 2 registry set --type binary "$key" d 0
expect 2 registry set --type word "$key" d 1
expect 2 registry set "$key" d 1 2
expect 1 registry get "$key" nosuch
told "there is none"

# Export and import give everything back, with odd types, bytes that are no whole text, and names of every kind.
cat >"$work/odd" <<'X'
qvconcept registry 1
# a comment

[Software\Example\Kinds\Below]
"not terminated" = type 1 41 00 42 00
"odd size" = type 1 41 00 42
"lone surrogate" = text "\ud83d x \ude00"
"with NUL" = text "a\u0000b"
"list of nothing" = list
"list that breaks off" = type 7 41 00 00 00
"short dword" = type 4 01 02
"link" = type 6 01
"big endian" = type 5 00 00 00 01
"high type" = type 4294967295
"tab\tand \"quotes\" \\ \/ \b\f\r\n" = text "\u00e9é"
[Software\Example\Kinds\Below\Empty]
[Software\Example\Kinds\Ünïcode key]
"x" = binary
X
expect 0 registry import "$work/odd"
expect 0 registry export 'Software\Example\Kinds' -o "$work/export"
expect 0 registry rm -r 'Software\Example\Kinds'
expect 1 registry export 'Software\Example\Kinds'
expect 0 registry import "$work/export"
expect 0 registry export 'Software\Example\Kinds'
cmp -s "$out" "$work/export" || fail "the round trip differs: $(diff "$out" "$work/export")"
for line in '"not terminated" = type 1 41 00 42 00' '"odd size" = type 1 41 00 42' \
    '"lone surrogate" = text "\ud83d x \ude00"' '"with NUL" = text "a\u0000b"' '"list of nothing" = list' \
    '"list that breaks off" = type 7 41 00 00 00' '"short dword" = type 4 01 02' '"big endian" = type 5 00 00 00 01' \
    '"high type" = type 4294967295' '[Software\Example\Kinds\Below\Empty]' '[Software\Example\Kinds\Ünïcode key]' \
    '"qword" = qword 18446744073709551615' '"" = text "the default"' '"no list" = list'; do
    printed "$line"
done

# A text that is none is told with its line, and nothing of it is written.
bad() {
    printf 'qvconcept registry 1\n[Software\\Bad]\n"good" = dword 1\n%s\n' "$1" >"$work/bad"
    expect 1 registry import "$work/bad"
    told "bad:4: $2"
    expect 1 registry ls 'Software\Bad'
}
bad '"x" dword 1' 'expected ='
bad '"x' 'a quoted text has no end'
bad '"x" = word 1' 'unknown kind of value word'
bad '"x" = dword' 'no number that fits a dword'
bad '"x" = dword 1 2' 'no number that fits a dword'
bad '"x" = binary 0' 'expected bytes'
bad '"x" = text "\u12"' 'expected four hexadecimal digits'
bad '"x" = text "a" "b"' 'more than one text'
bad '"x" = type z 00' 'expected the number of a type'
bad '[Software\Bad' 'expected ]'
printf 'hello\n' >"$work/bad"
expect 1 registry import "$work/bad"
told "bad:1: no registry text"
printf '' >"$work/bad"
expect 1 registry import "$work/bad"

# Deleting.
expect 1 registry rm 'Software\Example\Kinds'
told "there are keys below it"
expect 0 registry rm 'Software\Example\Kinds\Below\Empty'
expect 0 registry rm 'Software\Example\Kinds' text
expect 1 registry rm 'Software\Example\Kinds' text
expect 0 registry rm -r 'HKCU\Software\Example'
expect 1 registry rm 'Software\Example'
expect 2 registry rm HKCU
expect 2 registry ls '\Software'
finish
