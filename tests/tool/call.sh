#!/usr/bin/env bash
# How the tool is called: help, versions, words that make no sense.
. "$(dirname "$0")/lib.sh"

expect 0 --version
printed "qvconcept 1."
expect 0 --help
for command in check describe make show merge diff save load; do
    expect 0 --help
    printed "  $command"
    expect 0 "$command" --help
    printed "usage: qvconcept $command"
    silent
done
for command in ls get set rm export import; do
    expect 0 registry --help
    printed "  $command"
    expect 0 registry "$command" --help
    printed "usage: qvconcept registry $command"
done

expect 2
expect 2 nosuch
told "unknown command nosuch"
expect 2 registry nosuch
expect 2 show --nosuch
told "unknown option --nosuch"
expect 2 show -m
told "needs a value"
expect 2 show -m a -m b file
told "given twice"
expect 2 show --json=yes file
expect 2 show "${shape[@]}"
told "expected one archive"
expect 2 show "$work/none.qva"
told "--metadata is missing"
expect 2 make "${shape[@]}"
told "--output is missing"
expect 2 make "${shape[@]}" --set Weight -o "$work/x"
told "expected NAME=VALUE"
expect 2 describe --format html "$metadata/Shipment.xml"
expect 2 check
expect 2 save "${shape[@]}" 'Bad\\Key' "$work/none.qva"

# Files that are not what they must be.
expect 2 show -m "$work/none.xml" "$work/none.qva"
told "none.xml: cannot open"
expect 2 show -m "$metadata/TransportMode.xml" "$work/none.qva"
told "TransportMode.xml: is no concept: its root element is DynamicEnum"
expect 2 show -m "$metadata/Shipment.xml" -e "$metadata/Strings.de.xml" "$work/none.qva"
told "Strings.de.xml: is no enum"
expect 2 show "${shape[@]}" --strings "$metadata/Packaging.xml" "$work/none.qva"
told "is no string table"
expect 2 show "${shape[@]}" "$work/none.qva"
told "none.qva: cannot open"
printf '<DynamicConcept>\n  <Fields>\n</DynamicConcept>\n' >"$work/broken.xml"
expect 2 make -m "$work/broken.xml" -o "$work/x"
told "broken.xml:3:"
printf '' >"$work/empty.xml"
expect 2 make -m "$work/empty.xml" -o "$work/x"
told "empty.xml"
mkdir "$work/twice"
cp "$metadata/Packaging.xml" "$work/twice/a.xml"
expect 2 make "${shape[@]}" -e "$work/twice" -o "$work/x"
told "the enum Packaging is in"
# The same file by two ways is one file.
expect 1 make "${shape[@]}" -e "$metadata/Packaging.xml" --strict -o "$work/x"
told "required fields missing"

# A full disk is a failure.
if [ -w /dev/full ]; then
    last=(describe ">/dev/full")
    "$tool" describe "$metadata/Shipment.xml" >/dev/full 2>"$err"
    [ $? -eq 1 ] || fail "no failure on a full disk"
fi
finish
