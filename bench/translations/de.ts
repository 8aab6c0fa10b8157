<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name></name>
    <message id="655">
        <source>Parking radar on</source>
        <translation>Einparkhilfe ein</translation>
    </message>
    <message id="1177">
        <source>Parking radar off</source>
        <translation>Einparkhilfe aus</translation>
    </message>
    <message id="1164">
        <source>bar</source>
        <translation>bar</translation>
    </message>
    <message id="1166">
        <source>psi</source>
        <translation>psi</translation>
    </message>
    <message id="1165">
        <source>kPa</source>
        <translation>kPa</translation>
    </message>
    <message id="1147">
        <source>km</source>
        <translation>km</translation>
    </message>
    <message id="1205">
        <source>km/h</source>
        <translation>km/h</translation>
    </message>
    <message id="1145">
        <source>mi</source>
        <translation>mi</translation>
    </message>
    <message id="1148">
        <source>mph</source>
        <translation>mph</translation>
    </message>
    <message id="1172">
        <source>min</source>
        <translation>Min.</translation>
    </message>
    <message id="1141">
        <source>mpg</source>
        <translation>mpg</translation>
    </message>
    <message id="1142">
        <source>km/L</source>
        <translation>km/l</translation>
    </message>
    <message id="1143">
        <source>L/100km</source>
        <translation>l/100km</translation>
    </message>
    <message id="1278">
        <source>km/kWh</source>
        <translation>km/kWh</translation>
    </message>
    <message id="1279">
        <source>mi/kWh</source>
        <translation>mi/kWh</translation>
    </message>
    <message id="1280">
        <source>kWh/100km</source>
        <translation>kWh/100km</translation>
    </message>
    <message id="1281">
        <source>kWh/100mi</source>
        <translation>kWh/100mi</translation>
    </message>
    <message id="1150">
        <source>℃</source>
        <translation>℃</translation>
    </message>
    <message id="1163">
        <source>℉</source>
        <translation>℉</translation>
    </message>
</context>
</TS>
