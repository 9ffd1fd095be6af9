#!/usr/bin/env bash
# The large generated set and the real tables, from text to record and back. Skipped (77) without python3.
. "$(dirname "$0")/lib.sh"
command -v python3 >/dev/null || exit 77

"$source/scripts/generate-metadata" "$work/set" >"$out" || exit 1
set_shape=(-m "$work/set/Record.xml" -e "$work/set/enums")
start=$(date +%s)
expect 0 check "$work/set"
silent
printed "702 metadata files, 0 errors, 0 warnings"
expect 0 describe "$work/set"
printed "concept Record ("
expect 0 describe --format json --strings "$work/set/Strings.xml" "$work/set"
is_json "$out"
expect 0 make "${set_shape[@]}" --set-file "$work/set/values.txt" --strict -o "$work/record.qva"
expect 0 show "${set_shape[@]}" --strings "$work/set/Strings.xml" "$work/record.qva"
[ "$(wc -l <"$out")" -eq $(($(wc -l <"$work/set/values.txt") + 1)) ] || fail "the record has not all items"
expect 0 show "${set_shape[@]}" --json "$work/record.qva"
is_json "$out"
expect 0 save "${set_shape[@]}" 'Software\Example\Record' "$work/record.qva"
expect 0 load "${set_shape[@]}" 'Software\Example\Record' -o "$work/back.qva"
same "$work/record.qva" "$work/back.qva"
# Seconds, on any machine: a step that takes time by the square of its input takes minutes.
[ $(($(date +%s) - start)) -lt 120 ] || fail "too slow"

# The same seed gives the same set.
"$source/scripts/generate-metadata" "$work/small" --fields 20 --options 3 --enums 4 --seed 7 >"$out"
"$source/scripts/generate-metadata" "$work/again" --fields 20 --options 3 --enums 4 --seed 7 >"$out"
diff -r "$work/small" "$work/again" >"$out" || fail "the sets differ"

if [ -e /usr/share/iso-codes/json/iso_4217.json ] && [ -e /usr/share/locale/ja/LC_MESSAGES/iso_4217.mo ]; then
    iso=$source/examples/iso
    "$iso/generate" "$work/iso" >"$out" || fail "the tables are not generated"
    expect 0 check "$iso" "$work/iso"
    silent
    ticket=(-m "$iso/TradeTicket.xml" -e "$iso" -e "$work/iso")
    expect 0 make "${ticket[@]}" --set Agreement=Loan --set Amount=5 --set Currency=JPY --set BuyerCountry=CI \
        -o "$work/ticket.qva"
    expect 0 show "${ticket[@]}" --strings "$work/iso/Strings.ja.xml" "$work/ticket.qva"
    printed "JPY (円)"
    expect 0 show "${ticket[@]}" "$work/ticket.qva"
    printed "CI (Côte d'Ivoire)"
fi
finish
