#!/usr/bin/env bash
# Every finding of "check", with its line and column.
. "$(dirname "$0")/lib.sh"

expect 0 check "$metadata"
silent
printed "7 metadata files, 0 errors, 0 warnings"

cat >"$work/kind.xml" <<'X'
<DynamicEnum Name="Kind" Default="None">
  <Item Name="A" Code="1" Display="First"/>
  <Item Name="a" Code="2" Display="Second"/>
  <Item Name="B" Code="1" Display="Third"/>
  <Item Name="C" Code="3x" Display="Fourth">
    <Filter Name="Desk"/>
    <Where Desk="X">
      <Item Name="Colour" Value="red"/>
      <Item Name="Code"/>
      <Item Name="Display" Value="Fünf"/>
    </Where>
    <Where Desk="Y"/>
  </Item>
  <Item Name="D" code="4"/>
</DynamicEnum>
X
expect 1 check "$work/kind.xml"
told 'kind.xml:1:1: error: Default "None" is no value'
told 'kind.xml:3:3: error: value "a" has the name of "A" in line 2'
told 'kind.xml:4:3: error: value "B" has the code 1 of "A" in line 2'
told 'kind.xml:5:3: error: value "C": Code "3x" is no Int; the code becomes 3'
told 'kind.xml:6:5: error: the filter "Desk" lists no Item'
told 'kind.xml:8:7: error: override of "Colour" in Where is not accepted'
told 'kind.xml:9:7: error: an override without a Value'
told 'kind.xml:12:5: error: the override context Where has no Item'
told 'kind.xml:14:3: warning: attribute code: did you mean Code?'
printed "1 metadata file, 8 errors, 1 warning"

cat >"$work/concept.xml" <<'X'
<DynamicConcept Name="Test">
  <Selector Field="Kind">
    <Option Value="A"><RequiredFields>One, Tow,
      Three</RequiredFields><OptionalFields>One</OptionalFields></Option>
    <Option Value="b"/>
    <Option Value="Z"/>
    <Optoin/>
  </Selector>
  <Fields>
    <Field Name="One" Id="1" Type="Int"/>
    <Field Name="Kind" Id="5" Type="DynamicEnums.Kind"/>
    <Field Name="One" Id="6" Type="Strnig"/>
    <Field Name="Other" Id="5x" Type="DynamicEnums.Other"/>
    <Field Name="Bytes" Type="Blob"/>
    <Field Id="9"/>
    <Field>2nd</Field>
  </Fields>
  <RequiredFields><Field Name="Gone"/><Field>1</Field><Field Id="1"/></RequiredFields>
</DynamicConcept>
X
sed -e 's/Name="a"/Name="bb"/' -e 's/Name="B" Code="1"/Name="B" Code="7"/' "$work/kind.xml" >"$work/kind2.xml"
expect 1 check "$work/concept.xml" "$work/kind2.xml"
told 'concept.xml:3:44: error: option "A": unknown field "Tow"'
told 'concept.xml:4:7: error: option "A": unknown field "Three"'
told 'concept.xml:4:45: warning: option "A": field "One" is both required and optional'
told 'concept.xml:5:5: error: Option "b": the value is called "B", and options match by case'
told 'concept.xml:6:5: error: Option "Z" is no value of the enum "Kind"'
told 'concept.xml:7:5: error: a Selector has only Options: the concept is refused for Optoin'
told 'concept.xml:11:5: error: the selector "Kind" (id 5) is stored behind 1 field, the first "One" (id 1)'
told 'concept.xml:12:5: error: a second field "One"'
told 'concept.xml:12:5: error: field "One": unknown Type "Strnig"'
told 'concept.xml:13:5: error: Id "5x" is no Int; the field gets the id 5'
told 'concept.xml:13:5: error: id 5 is that of "Kind" too'
told 'concept.xml:13:5: error: field "Other": no file given holds the enum "Other"'
told 'concept.xml:14:5: error: field "Bytes": no value of Type "Blob" can be made of text or stored'
told 'concept.xml:15:5: error: a field without a name cannot be stored'
told 'concept.xml:16:5: warning: in the registry the name "2nd" is read as an id'
told 'concept.xml:18:19: error: required for all options: unknown field "Gone"'
told 'concept.xml:18:55: warning: field "One" is listed twice'

# An enum that is not given leaves its fields unbound.
expect 1 check "$metadata/Shipment.xml" "$metadata/Packaging.xml" "$metadata/ServiceLevel.xml"
told 'Shipment.xml:6:5: error: field "Carriage": no file given holds the enum "TransportMode"'
# Text beside elements.
printf '<DynamicEnum Name="E">\n x<Item Name="A"/>\n y\n</DynamicEnum>\n' >"$work/mixed.xml"
expect 1 check "$work/mixed.xml"
told 'mixed.xml:2:2: error: text in front of an element'
told 'mixed.xml:3:2: warning: text behind an element is not read'

# A value's name is its text where its Name is empty.
printf '<DynamicEnum Name="E" Default="First"><Item Name="">First</Item></DynamicEnum>\n' >"$work/named.xml"
expect 0 check --strict "$work/named.xml"
silent

cat >"$work/settings.xml" <<'X'
<Settings Name="S">
  <Property Name="N" Type="Int">abc</Property>
  <Property Name="N" Type="Int">1</Property>
  <Property ID="x">1</Property>
  <Property Name="T" Type="Strnig">1</Property>
  <Property Name="D" DisplayId="K">1</Property>
  <Porperty Name="O"/>
</Settings>
X
expect 1 check "$work/settings.xml"
told 'settings.xml:2:3: error: property "N": "abc" is no Int'
told 'settings.xml:3:3: error: a second Property "N" is not read'
told 'settings.xml:4:3: error: a Property without a Name or a number as ID'
told 'settings.xml:5:3: error: property "T": unknown Type "Strnig"'
told 'settings.xml:6:3: warning: attribute DisplayId: did you mean DisplayID?'
told 'settings.xml:7:3: error: only Property is known here'

printf '<T>\n<S Key="MODE_AIR">a</S>\n<S Key="MODE_AIR">b</S>\n<S>c</S>\n</T>\n' >"$work/strings.xml"
expect 1 check "$work/strings.xml" "$metadata/TransportMode.xml"
told 'strings.xml:3:1: error: a second text for "MODE_AIR" is not read'
told 'strings.xml:4:1: error: an element without a Key'
told 'TransportMode.xml:4:3: warning: 2 display ids without a text in the tables given, the first "MODE_SEA"'

# Files that are no metadata.
printf '<a>\n  <b></a>\n' >"$work/broken.xml"
expect 1 check "$work/broken.xml"
told 'broken.xml:2:'
printf '<a/>' >"$work/other.xml"
expect 1 check "$work/other.xml"
told 'other.xml:1:1: error: no metadata: the root element is a'
expect 2 check "$work/none.xml"
mkdir "$work/folder"
cp "$work/other.xml" "$metadata/Packaging.xml" "$work/folder"
expect 0 check "$work/folder"
printed "1 metadata file,"
finish
