#!/usr/bin/env python3
"""Builds the seed corpora of the fuzz targets under fuzz/corpus/<target>/.

Seeds come from the sample device trees under devices/ (base styles,
diversity files and module details of every tree, the dynamic parameters of
each tree's simulator profile, scheme files of the factory lists the styles
give) and from small hand-written texts for the edge cases of each input
format. Two seeds nest 100000 elements deep, to show that deep documents are
refused before they are parsed.

Usage: fuzz/make_corpus.py [OUTDIR]   (default: fuzz/corpus next to this file)
The output is deterministic; existing seed files of the same names are
replaced, other files are left alone.
"""
import os
import re
import base64
import hashlib
import struct
import sys
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
DEVICES = os.path.join(os.path.dirname(HERE), "devices")
STYLE_DIR = "hd1/moduleConfig/sensorConfig/style"
DIV_DIR = "hd1/moduleConfig/sensorConfig/styleDiversity"

DEEP = 100000


def read(path):
    with open(path, "rb") as f:
        return f.read()


def write(outdir, target, name, data):
    d = os.path.join(outdir, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def details(tree):
    """Detail texts of the modules of a tree's module configuration."""
    text = read(os.path.join(DEVICES, tree, "hd1/moduleConfig/moduleConfig.xml")).decode()
    return [d.encode() for d in re.findall(r"<detail>([^<]*)</detail>", text)]


def factory_list(style_bytes):
    """(id, value) of every element carrying both, in document order."""
    root = ET.fromstring(style_bytes)
    out = []
    for el in root.iter():
        if "id" in el.attrib and "value" in el.attrib:
            out.append((int(el.attrib["id"]), int(el.attrib["value"])))
    return out


def profile_dynamics(tree, isp_channel):
    """Dynamic parameters of one ISP channel of a tree's simulator profile."""
    path = os.path.join(DEVICES, tree, "isp/profile.conf")
    if not os.path.exists(path):
        return []
    out = []
    channel = 0
    for line in read(path).decode().splitlines():
        line = line.split("#", 1)[0].split()
        if not line:
            continue
        if line[0] == "channel":
            channel = int(line[1])
        elif line[0] == "dynamic" and channel == isp_channel:
            cmd = int(line[1])
            default = int(line[3])
            items = [int(x) for x in line[5:]]
            out.append((cmd, default, items))
    return out


def records_text(pairs):
    return "".join("(%d,%d)" % (k, v) for k, v in pairs).encode()


def records_bytes(pairs):
    return b"".join(struct.pack("<II", k & 0xFFFFFFFF, v & 0xFFFFFFFF) for k, v in pairs)


def dna_header(flags, params):
    """Header of fuzz_dna_style: flags, count, then per command a raw id."""
    out = bytes([flags, len(params)])
    for cmd, default, items in params:
        out += bytes([0xF0]) + struct.pack("<H", cmd & 0xFFFF) + struct.pack("<h", default)
        out += bytes([len(items)]) + b"".join(struct.pack("<h", i) for i in items)
    return out


def trees():
    """(name, tree, ISP channel, style file, diversity file, details) of every
    tree and style; the thermal style belongs to the second ISP channel."""
    out = []
    for tree in sorted(os.listdir(DEVICES)):
        style_dir = os.path.join(DEVICES, tree, STYLE_DIR)
        if not os.path.isdir(style_dir):
            continue
        dets = details(tree)
        for style in sorted(os.listdir(style_dir)):
            suffix = style[len("Style"):-len(".xml")]
            div = os.path.join(DEVICES, tree, DIV_DIR, "StyleDiversity%s.xml" % suffix)
            channel = 1 if suffix == "_Thermal" else 0
            out.append((tree + suffix, tree, channel, os.path.join(style_dir, style), div, dets))
    return out


def item(cmd, value, choices=None, extra=""):
    if choices is None:
        return '<item id="%d" value="%d"%s/>' % (cmd, value, extra)
    opts = "".join('<option index="%d"/>' % c for c in choices)
    return '<item id="%d" value="%d"%s>%s</item>' % (cmd, value, extra, opts)


def style_of(*items, tab="image"):
    return ('<?xml version="1.0" encoding="UTF-8"?>\n<style><tab key="%s">%s</tab></style>\n'
            % (tab, "".join(items))).encode()


def main():
    outdir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "corpus")
    deep_closed = b"<a>" * DEEP + b"</a>" * DEEP
    deep_open = b"<s>" * DEEP

    # ---- fuzz_merge_style: style \0 diversity \0 detail ----
    t = "fuzz_merge_style"
    for name, tree, channel, style, div, dets in trees():
        for i, det in enumerate(dets):
            write(outdir, t, "%s_module%d" % (name, i), read(style) + b"\0" + read(div) + b"\0" + det)
    base = style_of(item(34, 50), tab="image").replace(b"</style>", b'<tab key="exposure"/><tab key="image"/></style>')
    cases = {
        "five_chars": (b'<d><select sensor="imx291,imx327"><Delete tab_key="image"/></select></d>', b"(sensor=imx32)"),
        "two_attributes": (b'<select sensor="os04a10" lens="vf2812"><Delete tab_key="exposure"/></select>',
                           b"(sensor=imx327)(lens=vf2812)"),
        "modify_in_place": (b'<select usage="general"><Modify tab_key="image"><tab key="image2"/></Modify></select>',
                            b"(usage=general)"),
        "addafter_twice": (b'<select usage="general"><AddAfter tab_key="image"><tab key="new"/></AddAfter></select>',
                           b"(usage=general)"),
        "empty_selector": (b'<select usage="general"/>', b"(usage=general)"),
        "unknown_op": (b'<select usage="general"><Rename tab_key="image"><tab/></Rename></select>',
                       b"(usage=general)"),
        "op_without_child": (b'<select usage="general"><Modify tab_key="image"/><AddAfter tab_key="image"/></select>',
                             b"(usage=general)"),
        "long_detail_value": (b'<select sensor="imx327abcdefgh"><Delete tab_key="image"/></select>',
                              b"(sensor=imx327abcdefghijklmnop)"),
        "detail_without_close": (b'<select sensor="imx327"><Delete tab_key="image"/></select>', b"(sensor=imx327"),
        "substring_field": (b'<select scheme="4"><Delete tab_key="image"/></select>', b"(max_scheme=4)"),
        "several_selectors": (b'<a usage="x"><Delete tab_key="image"/></a><b usage="general">'
                              b'<Delete tab_key="image"/></b><c/>', b"(usage=general)"),
    }
    for name, (div, det) in sorted(cases.items()):
        write(outdir, t, name, base + b"\0" + div + b"\0" + det)
    write(outdir, t, "deep_style_closed", deep_closed + b"\0<select/>\0(sensor=imx327)")
    write(outdir, t, "deep_diversity_open", base + b"\0" + deep_open + b"\0(sensor=imx327)")
    write(outdir, t, "deep_tab_in_diversity",
          base + b'\0<select usage="general"><Modify tab_key="image">' + b"<t>" * 300 + b"</t>" * 300 +
          b"</Modify></select>\0(usage=general)")
    write(outdir, t, "not_xml", b"hello\0world\0(x=y)")
    write(outdir, t, "empty", b"")

    # ---- fuzz_dna_style: header + style ----
    t = "fuzz_dna_style"
    for name, tree, channel, style, div, dets in trees():
        params = profile_dynamics(tree, channel)[:19]
        for flags in (0x09, 0x46, 0x00):
            write(outdir, t, "%s_flags%02x" % (name, flags), dna_header(flags, params) + read(style))
    edge = {
        # style value 3 is offered by the ISP: it stays; 4 is not: ISP default
        "shutter_value_kept": ([(50, 5, [0, 3, 5])], style_of(item(50, 3, [0, 3, 5]))),
        "shutter_value_default": ([(50, 5, [0, 3, 5])], style_of(item(50, 4, [0, 3, 5]))),
        "own_choices_205": ([(49, 1, [7, 8])], style_of(item(49, 205, [0, 1, 2]))),
        "isp_default_100": ([(55, 9, [5, 9])], style_of(item(55, 100, [5, 9]))),
        "choice_removed": ([(2528, 1, [1, 2])], style_of(item(2528, 0, [0, 1, 2]))),
        "choice_without_index": ([(2528, 1, [1, 2])],
                                 style_of('<item id="2528" value="0"><option index="0"/><option/>'
                                          '<option index="2"/></item>')),
        "hidden_items": ([], style_of(item(10, 1), item(11, 1), item(2368, 1), item(2369, 1), item(2048, 1),
                                      item(2064, 1), item(2386, 1), item(34, 50))),
        "own_choices_over_64": ([(49, 1, [1])], style_of(item(49, 250, list(range(80))))),
        "duplicate_ids": ([(16, 1, [0, 1])], style_of(item(16, 0, [0, 1, 2]), item(16, 2, [0, 1, 2]),
                                                      item(10, 1), item(10, 2))),
        "nested_items": ([(34, 7, [7])], style_of('<item id="34" value="1"><item id="35" value="2">'
                                                   '<item id="36" value="3"/></item></item>')),
        "id_without_value": ([], style_of('<item id="34"><item id="35" value="2"/></item>')),
        "more_than_16_commands": ([(c, 0, [0, 1]) for c in range(100, 119)],
                                  style_of(*[item(c, 1, [0, 1, 2]) for c in range(100, 119)])),
        "more_than_64_items": ([(65, 3, list(range(69)))], style_of(item(65, 3, list(range(100))))),
        "over_capacity": ([], style_of(*[item(1000 + i, i) for i in range(300)])),
    }
    for name, (params, style) in sorted(edge.items()):
        write(outdir, t, name, dna_header(0x49, params) + style)
    write(outdir, t, "deep_open", dna_header(0x09, [(49, 6, [5, 6])]) + deep_open)
    write(outdir, t, "deep_in_item", dna_header(0x09, [(49, 6, [5, 6])]) +
          b'<s><t><item id="49" value="5">' + b"<o index=\"5\">" * 250 + b"</o>" * 250 + b"</item></t></s>")
    write(outdir, t, "list_query_fails", dna_header(0x19, [(34, 1, [1])]) + style_of(item(34, 0, [0, 1])))
    write(outdir, t, "range_queries_fail", dna_header(0x29, [(34, 1, [1])]) + style_of(item(34, 0, [0, 1])))
    write(outdir, t, "short_header", b"\x09\x03\xf0")

    # ---- fuzz_keyval_file: count byte + file bytes ----
    t = "fuzz_keyval_file"
    for name, tree, channel, style, div, dets in trees():
        pairs = factory_list(read(style))
        n = len(pairs)
        write(outdir, t, "%s_scheme" % name, bytes([n]) + records_bytes(pairs))
        write(outdir, t, "%s_scheme_short" % name, bytes([n]) + records_bytes(pairs)[:-5])
        write(outdir, t, "%s_scheme_extra" % name, bytes([n]) + records_bytes(pairs + [(1, 2)]))
    write(outdir, t, "empty_file", b"\x17")
    write(outdir, t, "version_8", b"\x01" + struct.pack("<I", 8))
    write(outdir, t, "version_text", b"\x01" + b"5")
    write(outdir, t, "no_records", b"\x00" + b"\xff" * 16)

    # ---- fuzz_keyval_str2st: capacity byte + record text ----
    t = "fuzz_keyval_str2st"
    texts = {
        "two_records": b"(2368,1)(2369,50)",
        "bad_value": b"(1,2)(3,x)",
        "bad_key": b"(x,2)(3,4)",
        "unclosed": b"(5,6",
        "close_first": b")(7,8)",
        "open_last": b"(1,2)(",
        "extremes": b"(-1,-1)(2147483647,-2147483648)(4294967295,99999999999)",
        "blanks": b"( 1 , 2 )(3,\t4)",
        "nested": b"((((1,2))))",
        "noise": b"abc(1,2)def(3,4)ghi",
    }
    for name, text in sorted(texts.items()):
        for cap in (0, 1, 255):
            write(outdir, t, "%s_cap%d" % (name, cap), bytes([cap]) + text)
    for name, tree, channel, style, div, dets in trees():
        write(outdir, t, "%s_factory" % name, bytes([40]) + records_text(factory_list(read(style))))
    write(outdir, t, "many_records", bytes([200]) + records_text([(i, i * 3) for i in range(1000)]))

    # ---- fuzz_text_api: mode byte + text ----
    t = "fuzz_text_api"
    box = factory_list(read(os.path.join(DEVICES, "box", STYLE_DIR, "Style.xml")))
    keys = [k for k, _ in box]
    key_lists = {
        "one_key": b"(34)",
        "three_keys": b"(2368,2369,112)",
        "empty_list": b"()",
        "not_numeric": b"(abc)",
        "blanks": b"( 34, 2337 ,49)",
        "ir_keys": b"(160,161,163,165,167)",
        "all_keys": ("(" + ",".join(str(k) for k in keys) + ")").encode(),
        "trailing_text": b"(34)x",
        "two_lists": b"(34)(35)",
        "negative": b"(-1,-34)",
    }
    for name, text in sorted(key_lists.items()):
        write(outdir, t, "get_" + name, b"\x00" + text)
    set_texts = {
        "brightness_saturation": b"(34,60)(2337,45)",
        "time_plan": b"(8000,1)(8001,6)(8003,18)",
        "day_night": b"(8000,2)(145,10)(146,20)(149,6)",
        "ir_cap": b"(163,60)(167,50)",
        "intelligent_light": b"(224,2)(161,1)(168,1)(172,30)(203,40)",
        "bad_records": b"(1,2)(3,x)(5,6",
        "close_first": b")(7,8)",
        "mirror": b"(2384,1)(2416,1)",
        "unknown_key": b"(12345,1)",
        "lens": b"(1536,1)(1539,1)(1552,100)(1568,200)",
        "full_scheme": records_text(box),
        "full_scheme_changed": records_text([(k, v + 1) for k, v in box]),
    }
    for name, text in sorted(set_texts.items()):
        for mode in (1, 3, 7):
            write(outdir, t, "set%d_%s" % (mode, name), bytes([mode]) + text)
    write(outdir, t, "get_all", b"\x04(34)")

    onvif_requests(outdir)
    return 0


def onvif_security(user="admin", password="fuzz", nonce=bytes(range(16)), created="2024-05-01T12:00:00.000Z"):
    """A WS-Security header with the password digest the ONVIF clients send."""
    digest = base64.b64encode(hashlib.sha1(nonce + created.encode() + password.encode()).digest()).decode()
    return ('<Security s:mustUnderstand="1" xmlns="http://docs.oasis-open.org/wss/2004/01/'
            'oasis-200401-wss-wssecurity-secext-1.0.xsd"><UsernameToken><Username>%s</Username>'
            '<Password Type="http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0'
            '#PasswordDigest">%s</Password><Nonce>%s</Nonce><Created xmlns="http://docs.oasis-open.org/wss/2004/'
            '01/oasis-200401-wss-wssecurity-utility-1.0.xsd">%s</Created></UsernameToken></Security>'
            % (user, digest, base64.b64encode(nonce).decode(), created))


def onvif_envelope(body, header=""):
    return ('<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"><s:Header>%s</s:Header>'
            '<s:Body>%s</s:Body></s:Envelope>' % (header, body)).encode()


def onvif_requests(outdir):
    """Seeds of fuzz_onvif_request: every served operation, with and without
    a valid security header, and the malformed envelopes of the tests."""
    t = "fuzz_onvif_request"
    dev = 'xmlns="http://www.onvif.org/ver10/device/wsdl"'
    med = 'xmlns="http://www.onvif.org/ver10/media/wsdl"'
    img = 'xmlns="http://www.onvif.org/ver20/imaging/wsdl"'
    tt = 'xmlns="http://www.onvif.org/ver10/schema"'
    tok = "<VideoSourceToken>VideoSource_1</VideoSourceToken>"
    settings = ("<BacklightCompensation %s><Mode>ON</Mode><Level>40</Level></BacklightCompensation>"
                "<Brightness %s>60</Brightness><ColorSaturation %s>45</ColorSaturation>"
                "<Exposure %s><Mode>MANUAL</Mode><MinExposureTime>10</MinExposureTime>"
                "<MaxExposureTime>33333</MaxExposureTime><MaxGain>30</MaxGain><ExposureTime>20000</ExposureTime>"
                "<Gain>12</Gain><Iris>4</Iris></Exposure><Focus %s><AutoFocusMode>MANUAL</AutoFocusMode>"
                "<NearLimit>1.5</NearLimit></Focus><IrCutFilter %s>OFF</IrCutFilter><Sharpness %s>55</Sharpness>"
                "<WideDynamicRange %s><Mode>ON</Mode><Level>70</Level></WideDynamicRange>"
                "<WhiteBalance %s><Mode>MANUAL</Mode><CrGain>100</CrGain><CbGain>140</CbGain></WhiteBalance>"
                "<Extension %s><ImageStabilization><Mode>ON</Mode><Level>30</Level></ImageStabilization>"
                "<Extension><Extension><Defogging><Mode>ON</Mode><Level>0.25</Level></Defogging>"
                "<NoiseReduction><Level>0.6</Level></NoiseReduction></Extension></Extension></Extension>"
                % ((tt,) * 10))
    operations = {
        "time": (0, "<GetSystemDateAndTime %s/>" % dev),
        "services": (0, "<GetServices %s><IncludeCapability>true</IncludeCapability></GetServices>" % dev),
        "capabilities": (0, "<GetCapabilities %s><Category>All</Category></GetCapabilities>" % dev),
        "capabilities_ptz": (0, "<GetCapabilities %s><Category>PTZ</Category></GetCapabilities>" % dev),
        "device_information": (0, "<GetDeviceInformation %s/>" % dev),
        "profiles": (1, "<GetProfiles %s/>" % med),
        "video_sources": (1, "<GetVideoSources %s/>" % med),
        "imaging_capabilities": (2, "<GetServiceCapabilities %s/>" % img),
        "get_settings": (2, "<GetImagingSettings %s>%s</GetImagingSettings>" % (img, tok)),
        "set_settings": (2, "<SetImagingSettings %s>%s<ImagingSettings>%s</ImagingSettings>"
                            "<ForcePersistence>false</ForcePersistence></SetImagingSettings>" % (img, tok, settings)),
        "set_out_of_range": (2, "<SetImagingSettings %s>%s<ImagingSettings><Brightness %s>101</Brightness>"
                                "</ImagingSettings></SetImagingSettings>" % (img, tok, tt)),
        "options": (2, "<GetOptions %s>%s</GetOptions>" % (img, tok)),
        "move_options": (2, "<GetMoveOptions %s>%s</GetMoveOptions>" % (img, tok)),
        "move_continuous": (2, "<Move %s>%s<Focus><Continuous %s><Speed>0.5</Speed></Continuous></Focus></Move>"
                               % (img, tok, tt)),
        "move_absolute": (2, "<Move %s>%s<Focus><Absolute %s><Position>1200</Position></Absolute></Focus></Move>"
                             % (img, tok, tt)),
        "stop": (2, "<Stop %s>%s</Stop>" % (img, tok)),
        "status": (2, "<GetStatus %s>%s</GetStatus>" % (img, tok)),
        "unknown_source": (2, "<GetImagingSettings %s><VideoSourceToken>x</VideoSourceToken></GetImagingSettings>"
                              % img),
        "unknown_operation": (0, "<SystemReboot %s/>" % dev),
    }
    for name, (path, body) in sorted(operations.items()):
        write(outdir, t, "signed_" + name, bytes([path]) + onvif_envelope(body, onvif_security()))
        write(outdir, t, "open_" + name, bytes([path | 4]) + onvif_envelope(body))
    write(outdir, t, "wrong_password", b"\x00" + onvif_envelope(operations["device_information"][1],
                                                                onvif_security(password="other")))
    write(outdir, t, "text_password", b"\x00" + onvif_envelope(
        operations["device_information"][1], onvif_security().replace("#PasswordDigest", "#PasswordText")))
    write(outdir, t, "soap11", b"\x04" + onvif_envelope(operations["time"][1]).replace(
        b"http://www.w3.org/2003/05/soap-envelope", b"http://schemas.xmlsoap.org/soap/envelope/"))
    write(outdir, t, "unclosed", b"\x04<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>")
    write(outdir, t, "no_operation", b"\x04" + onvif_envelope(""))
    write(outdir, t, "deep", b"\x06" + b"<a>" * 6000)
    write(outdir, t, "oversized", b"\x04" + b" " * 17000)
    write(outdir, t, "other_path", b"\x03" + onvif_envelope(operations["time"][1]))
    write(outdir, t, "empty", b"\x00")


if __name__ == "__main__":
    sys.exit(main())
