#!/usr/bin/env python3
"""Consistency check of the sample device trees under devices/.

For every tree it reads the machine description, picks the module of the
channel the library's controller drives, the style and diversity files that
device type and channel use, and then replays what the library does with
them: the diversity merge (detail-field selectors, five-character value
comparison, Modify / AddAfter / Delete on tabs), the narrowing by the dynamic
parameters of the tree's ISP simulator profile (ISP default, the special style
values 100 and 200 + n on the slowest shutter), the removal of the hidden
items and the read-out of the factory list.

It fails (exit status 1) when a file is not well formed or when a tree breaks
one of the rules the library relies on:

  * the first five items of every style are the scheme keys 8000-8004;
  * every item id is a key of the key-command table, and no id occurs twice;
  * list items hold only choices with an "index" (and no "id"/"value");
  * every diversity file used by a tree has a selector that applies to the
    tree and one that does not, and each tree's edits take effect;
  * every command the ISP lists as dynamic has an item in the factory list
    (otherwise value correction reports it) and keeps at least one choice;
  * factory values lie within the remaining choices or the slider range;
  * fewer than 170 factory entries; detail values of at most 9 characters;
  * valid scheme time windows; the simulator profile is well formed (at most
    16 dynamic commands per channel, 64 items each).

Usage: devices/tools/check_trees.py [-v] [tree ...]   (-v prints the factory lists)
"""
import copy
import os
import re
import sys
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
DEVICES = os.path.dirname(HERE)

# The key-command table: key id -> key name.
KEYS = {
    8240: "KEY__DDE_MANUAL_STRG", 34: "KEY_BRIGHTNESS", 2337: "KEY_SATURATION", 2353: "KEY_CONTRAST",
    2321: "KEY_SHARPNESS", 96: "KEY_METER_AREA", 16: "KEY_EXPOSE_MODE", 49: "KEY_MAX_SHUTTER",
    50: "KEY_FIX_SHUTTER", 51: "KEY_MIN_SHUTTER", 52: "KEY_TRAFFIC_LEVEL", 55: "KEY_MIN_SHUTTER_NIGHT",
    56: "KEY_MAX_SHUTTER_NIGHT", 57: "KEY_MAX_GAIN_NIGHT", 65: "KEY_MAX_GAIN", 66: "KEY_FIX_GAIN",
    80: "KEY_IRIS_SWITCH", 81: "KEY_IRIS_SPEED", 82: "KEY_IRIS_POSITION", 83: "KEY_IRIS_SIZE",
    768: "KEY_WB_MODE", 770: "KEY_R_GAIN", 771: "KEY_B_GAIN", 144: "KEY_DN_MODE", 147: "KEY_DELAY",
    160: "KEY_IR_SWITCH", 161: "KEY_IR_MODE", 162: "KEY_IR_AUTO_STRG_NEAR", 163: "KEY_IR_MANUAL_STRG_NEAR",
    164: "KEY_IR_AUTO_STRG_MEDIUM", 165: "KEY_IR_MANUAL_STRG_MEDIUM", 166: "KEY_IR_AUTO_STRG_FAR",
    167: "KEY_IR_MANUAL_STRG_FAR", 155: "KEY_IR_ANTI_OVEREXP", 170: "KEY_WHITE_SWITCH", 171: "KEY_WHITE_MODE",
    172: "KEY_WHITE_MANUAL_STRG", 173: "KEY_WHITE_MANUAL_STRG_MEDIUM", 174: "KEY_WHITE_MANUAL_STRG_FAR",
    2304: "KEY_2D_NR_SWITCH", 2305: "KEY_2D_NR_MODE", 2306: "KEY_2D_NR_STRG_A", 2307: "KEY_2D_NR_STRG_M",
    2308: "KEY_3D_NR_SWITCH", 2309: "KEY_3D_NR_MODE", 2312: "KEY_3D_NR_STRG_A", 2313: "KEY_3D_NR_STRG_M",
    2369: "KEY_WDR_STRG", 112: "KEY_HLC_SWITCH", 113: "KEY_HLC_STRG", 128: "KEY_BLC_SWITCH",
    129: "KEY_BLC_MODE", 130: "KEY_BLC_STRG", 2417: "KEY_ANTI_SHAKE_STRG", 2400: "KEY_DEFLG_SWITCH",
    2401: "KEY_DEFLG_STRG", 176: "KEY_IN_OUT_SIDE", 1536: "KEY_AUTO_FOCUS_MODE",
    1537: "KEY_AUTO_FOCUS_NEAR_LIMIT", 1538: "KEY_AUTO_FOCUS_SENSITIVITY", 1584: "KEY_DIGITAL_ZOOM",
    1571: "KEY_MZOOM_SPEED", 1552: "KEY_MF_POSITION", 1568: "KEY_MZ_POSITION", 2433: "KEY_CAP_OFF_ADJ_STEP",
    2434: "KEY_CAP_OFF_ADJ_H_MIN", 2435: "KEY_CAP_OFF_ADJ_H_MAX", 2437: "KEY_CAP_OFF_ADJ_V_MIN",
    2438: "KEY_CAP_OFF_ADJ_V_MAX", 2512: "KEY_FREEZE", 2528: "KEY_GAMMA", 2560: "KEY_DN_AF_MODE",
    8201: "KEY_NONE_COLOR_MODE", 8202: "KEY_DVE_MODE", 8203: "KEY_AUTO_TIME", 8209: "KEY_AUTO_TEMPR",
    8204: "KEY_CONTROL_FFC_MODE", 8205: "KEY_IMAGES_ADJUST", 8206: "KEY_IMAGES_REGULATE",
    8207: "KEY_FOCUS_SPEED_LEVEL", 8208: "KEY_DVE_TYPE", 8217: "KEY_TEMPERATURE_STRIP_SWITCH",
    224: "KEY_LIGHT_TYPE", 2048: "KEY_LDC_SWITCH", 2064: "KEY_LDC_STRG", 772: "KEY_WB_RG", 773: "KEY_WB_BG",
    17: "KEY_IRIS_UP", 18: "KEY_IRIS_DOWN", 1539: "KEY_AUTO_FOCUS_ONCE", 1616: "KEY_LENS_RESET",
    1570: "KEY_ZOOM_OUT", 1569: "KEY_ZOOM_IN", 1553: "KEY_FOCUS_NEAR", 1554: "KEY_FOCUS_FAR",
    2497: "KEY_SENSOR_FPS", 8212: "KEY_BACKGROUND_ADJUST", 8231: "IA_CMD_UI_SHUTTER_RESET",
    8104: "KEY_MIXSTREAM_THERMAL_TO_VISION_SYNC_FOV", 8100: "KEY_MIXSTREAM_DISTANCE",
    8101: "KEY_MIXSTREAM_DISTANCE_Y_OFFSET", 8102: "KEY_MIXSTREAM_DISTANCE_WIDTH_OFFSET",
    8103: "KEY_MIXSTREAM_DISTANCE_HEIGHT_OFFSET", 8105: "KEY_MIXSTREAM_TYPE", 9000: "KEY_PANO_STITCH_DIST",
    9001: "KEY_PANO_SAVE", 9002: "KEY_PANO_RESET", 9003: "KEY_PANO_PREVIEW", 9004: "KEY_PANO_ADJUST_EN",
    9005: "KEY_PANO_ID", 2368: "KEY_WDR_MODE", 2416: "KEY_ANTI_SHAKE_SWITCH", 2384: "KEY_MIRROR",
    2385: "KEY_BEAWAY", 2386: "KEY_FISHEYE_ROTATE", 8211: "KEY_SHUTTER_ADJUST",
    2432: "KEY_CAP_OFF_ADJ_DIRECTION", 2436: "KEY_CAP_OFF_ADJ_H_CUR", 2439: "KEY_CAP_OFF_ADJ_V_CUR",
    145: "KEY_DTN_THR", 146: "KEY_NTD_THR", 154: "KEY_DN_SENSITIVITY", 149: "KEY_DTN_H", 150: "KEY_DTN_M",
    151: "KEY_NTD_H", 152: "KEY_NTD_M", 190: "KEY_TEST_PARAM1", 191: "KEY_TEST_PARAM2",
    192: "KEY_TEST_PARAM3", 193: "KEY_TEST_PARAM4", 8000: "KEY_SCHEME_MODE", 8001: "KEY_SCHEME_START_HOUR",
    8002: "KEY_SCHEME_START_MIN", 8003: "KEY_SCHEME_END_HOUR", 8004: "KEY_SCHEME_END_MIN",
    10: "KEY_EMPTY1", 11: "KEY_EMPTY2", 13: "KEY_EMPTY3", 168: "KEY_IR_MODE_INTELL",
    175: "KEY_WHITE_MODE_INTELL", 200: "KEY_IR_MANUAL_STRG_NEAR_INTELL", 203: "KEY_WHITE_MANUAL_STRG_INTELL",
}
for _n in range(1, 5):
    for _j, _suffix in enumerate(["ADJUST_EN", "YAW", "PITCH", "ROLL", "OFFSETX", "OFFSETY"], start=1):
        KEYS[9000 + _n * 100 + _j] = "KEY_PANO_%s_%d" % (_suffix, _n)
assert len(KEYS) == 166, len(KEYS)

# Keys whose value only makes sense as a momentary action; a style must not store them.
MOMENTARY = {17, 18, 1539, 1553, 1554, 1569, 1570, 1616, 2497, 8104, 8212, 8231}
SCHEME_KEYS = [8000, 8001, 8002, 8003, 8004]
SHUTTER_LIKE = {49, 50, 51, 55, 56, 1537}   # the style's own value may win over the ISP default
BOX_TYPES = {1, 8, 9, 11, 13, 14, 15, 16, 17, 18, 22}
THERMAL_TYPES = {13, 14, 17, 19, 23}
FACTORY_CAPACITY = 170

STYLE_DIR = "hd1/moduleConfig/sensorConfig/style"
DIV_DIR = "hd1/moduleConfig/sensorConfig/styleDiversity"


class Report:
    def __init__(self):
        self.errors = []

    def error(self, where, text):
        if os.path.isabs(where):
            where = os.path.relpath(where, DEVICES)
        self.errors.append("%s: %s" % (where, text))


# ------------------------------------------------------------------ readers
def parse_xml_file(path, rep, wrap=False):
    with open(path, "rb") as f:
        data = f.read().decode("utf-8")
    if wrap:
        # A diversity file is a sequence of top-level selector elements.
        data = re.sub(r"^\s*<\?xml[^>]*\?>", "", data)
        data = "<diversity>" + data + "</diversity>"
    try:
        return ET.fromstring(data)
    except ET.ParseError as exc:
        rep.error(path, "not well formed: %s" % exc)
        return None


def read_ini(path):
    values = {}
    with open(path) as f:
        for line in f:
            line = line.strip()
            if not line or line[0] in "#;" or line.startswith("["):
                continue
            if "=" in line:
                k, v = line.split("=", 1)
                values[k.strip()] = v.strip()
    return values


def read_profile(path, rep):
    """Returns {channel: [(cmd, default, items)]} in registration order."""
    channels = {}
    chan = 0
    with open(path) as f:
        for no, raw in enumerate(f, start=1):
            line = re.sub(r"(^|\s)#.*$", "", raw).strip()
            if not line:
                continue
            words = line.split()
            where = "%s:%d" % (path, no)
            try:
                if words[0] == "channel" and len(words) == 2:
                    chan = int(words[1], 0)
                elif words[0] in ("value", "status") and len(words) == 3:
                    int(words[1], 0), int(words[2], 0)
                elif words[0] == "exposure" and len(words) == 4:
                    [int(w, 0) for w in words[1:]]
                elif words[0] == "version":
                    if len(line) - len("version ") > 55:
                        rep.error(where, "version text longer than 55 characters")
                elif words[0] == "fail" and len(words) == 4:
                    [int(w, 0) for w in words[1:]]
                elif words[0] == "dynamic" and len(words) >= 5 and words[2] == "default" and words[4] == "items":
                    rest = words[5:]
                    if "type" in rest:
                        rest = rest[:rest.index("type")]
                    items = [int(w, 0) for w in rest]
                    if len(items) > 64:
                        rep.error(where, "more than 64 items")
                    lst = channels.setdefault(chan, [])
                    cmd = int(words[1], 0)
                    lst[:] = [e for e in lst if e[0] != cmd] + [(cmd, int(words[3], 0), items)]
                else:
                    rep.error(where, "malformed line: %s" % line)
            except ValueError:
                rep.error(where, "bad number: %s" % line)
    for ch, lst in channels.items():
        if len(lst) > 16:
            rep.error(path, "channel %d lists %d dynamic commands (at most 16)" % (ch, len(lst)))
    return channels


# ------------------------------------------------------------------ style walks
def has_id(el):
    return el.get("id") is not None


def atoi(text):
    m = re.match(r"\s*([+-]?\d+)", text or "")
    return int(m.group(1)) if m else 0


def walk_match(el, cmd, found):
    """The shared search: a matching element is handled, its children are not visited."""
    if has_id(el) and atoi(el.get("id")) == cmd:
        found.append(el)
        return
    for child in el:
        walk_match(child, cmd, found)


def items_preorder(el, out):
    if el.get("id") is not None and el.get("value") is not None:
        out.append(el)
    for child in el:
        items_preorder(child, out)


def parent_map(root):
    return {child: parent for parent in root.iter() for child in parent}


def check_style_doc(root, where, rep, merged=False):
    items = []
    items_preorder(root, items)
    ids = [atoi(e.get("id")) for e in items]
    if ids[:5] != SCHEME_KEYS:
        rep.error(where, "first five items are %s, not the scheme keys" % ids[:5])
    seen = set()
    for e in items:
        k = atoi(e.get("id"))
        if k not in KEYS:
            rep.error(where, "item id %d is not a key of the key-command table" % k)
        if k in MOMENTARY:
            rep.error(where, "item id %d is a momentary key" % k)
        if k in seen:
            rep.error(where, "item id %d occurs twice" % k)
        seen.add(k)
        children = list(e)
        for c in children:
            if c.get("index") is None:
                rep.error(where, "item %d has a child without \"index\"" % k)
            if c.get("id") is not None or c.get("value") is not None:
                rep.error(where, "choice under item %d carries \"id\"/\"value\"" % k)
        if children:
            idx = [atoi(c.get("index")) for c in children]
            if len(set(idx)) != len(idx):
                rep.error(where, "item %d has duplicate choices" % k)
            if len(idx) > 64:
                rep.error(where, "item %d has more than 64 choices" % k)
    for tab in root:
        if tab.get("key") is None:
            rep.error(where, "tab <%s> without \"key\"" % tab.tag)
    keys = [t.get("key") for t in root]
    if len(set(keys)) != len(keys):
        rep.error(where, "duplicate tab keys %s" % keys)
    return items


# ------------------------------------------------------------------ merge
def detail_field(detail, name):
    pos = detail.find(name)
    if pos < 0:
        return None
    eq = detail.find("=", pos + len(name))
    if eq < 0:
        return None
    close = detail.find(")", eq)
    if close < 0:
        return None
    return detail[eq + 1:close][:9]


def agrees(listed, value):
    # Both texts compared on their first five characters.
    return listed[:5] == value[:5]


def selector_matches(sel, detail):
    for name, listed in sel.attrib.items():
        value = detail_field(detail, name)
        if value is None:
            continue
        pieces = [p for p in listed.split(",")]
        if any(agrees(p, value) for p in pieces) or agrees(listed, value):
            return name
    return None


def merge(style_root, div_root, detail, where, rep):
    """Applies the diversity edits; returns (matched selectors, skipped selectors, operations)."""
    matched, skipped, ops = [], [], []
    for sel in div_root:
        attr = selector_matches(sel, detail)
        if attr is None:
            skipped.append(dict(sel.attrib))
            continue
        matched.append(dict(sel.attrib))
        for op in sel:
            key = op.get("tab_key")
            new_tab = op[0] if len(op) else None
            tabs = list(style_root)
            target = next((t for t in tabs if t.get("key") == key), None)
            if target is None:
                rep.error(where, "%s names tab \"%s\", which the style does not have" % (op.tag, key))
                continue
            pos = tabs.index(target)
            if op.tag == "Modify":
                style_root.remove(target)
                style_root.insert(pos, copy.deepcopy(new_tab))
            elif op.tag == "AddAfter":
                style_root.insert(pos + 1, copy.deepcopy(new_tab))
            elif op.tag == "Delete":
                style_root.remove(target)
            else:
                rep.error(where, "unknown operation <%s>" % op.tag)
                continue
            ops.append((op.tag, key))
    return matched, skipped, ops


# ------------------------------------------------------------------ narrowing
def narrow(root, dynamics, where, rep, show_wdr=True, show_ldc=True, beaway=True, fisheye=True):
    notes = []
    for cmd, default, items in dynamics[:16]:
        def_val = default
        item_list = list(items)
        targets = []
        walk_match(root, cmd, targets)
        if not targets:
            notes.append("dynamic %d: no item" % cmd)
        if cmd in SHUTTER_LIKE:
            n_val = atoi(targets[-1].get("value")) if targets and targets[-1].get("value") is not None else 0
            if n_val != 100:
                if n_val in item_list:
                    def_val = n_val
                if n_val > 199 and cmd == 49:
                    own = []
                    for t in targets:
                        own = [atoi(c.get("index")) for c in t if c.get("index") is not None]
                    item_list = own[:64]
                    def_val = n_val - 200
        for t in targets:
            t.set("value", str(def_val))
            for c in list(t):
                if c.get("index") is None:
                    rep.error(where, "choice without index under dynamic item %d" % cmd)
                    break
                if atoi(c.get("index")) not in item_list:
                    t.remove(c)
    parents = parent_map(root)
    remove = [10] if show_wdr else [10, 2368, 2369]
    if not show_ldc:
        remove += [2048, 2064]
    if beaway:
        remove.append(11)
    if not fisheye:
        remove.append(2386)
    for cmd in remove:
        found = []
        walk_match(root, cmd, found)
        if found:
            parents[found[-1]].remove(found[-1])
    return notes


# ------------------------------------------------------------------ one tree
def check_tree(name, rep, verbose, channel=None):
    base = os.path.join(DEVICES, name)
    machine = read_ini(os.path.join(base, "mnt/mtd/code/factory_setting/machineinfo.ini"))
    for k in ("DeviceType", "HardwareModel", "HardwareCode"):
        if k not in machine:
            rep.error(where, "machineinfo.ini lacks %s" % k)
    dtype = int(machine.get("DeviceType", "0"))
    if channel is None:
        channel = 2 if dtype == 13 else 1
    where = name if channel == (2 if dtype == 13 else 1) else "%s/ch%d" % (name, channel)

    mod_root = parse_xml_file(os.path.join(base, "hd1/moduleConfig/moduleConfig.xml"), rep)
    module = None
    if mod_root is not None:
        for m in mod_root.findall("module"):
            hm, hc = m.get("hardwareModel", "*"), m.get("hardwareCode", "*")
            if hm not in ("*", machine.get("HardwareModel")) or hc not in ("*", machine.get("HardwareCode")):
                continue
            detail = m.findtext("detail") or ""
            for fname, val in re.findall(r"\((\w+)=([^)]*)\)", detail):
                if len(val) > 9:
                    rep.error(where, "detail field %s=%s longer than 9 characters" % (fname, val))
            if len(detail) > 511 or len(m.findtext("parameters") or "") > 255:
                rep.error(where, "module texts too long")
            if atoi(m.get("id")) == channel and module is None:
                module = m
    if module is None:
        rep.error(where, "no module with id %d applies to this machine" % channel)
        return
    detail = module.findtext("detail") or ""
    params = module.findtext("parameters") or ""

    thermal = channel == 2 and dtype in THERMAL_TYPES
    if thermal:
        style_name, div_name = "Style_Thermal.xml", "StyleDiversity_Thermal.xml"
    elif dtype in BOX_TYPES:
        style_name, div_name = "Style.xml", "StyleDiversity.xml"
    else:
        style_name, div_name = "Style_dome.xml", "StyleDiversity_dome.xml"
    style_path = os.path.join(base, STYLE_DIR, style_name)
    div_path = os.path.join(base, DIV_DIR, div_name)
    style_root = parse_xml_file(style_path, rep)
    div_root = parse_xml_file(div_path, rep, wrap=True)
    if style_root is None or div_root is None:
        return

    matched, skipped, ops = merge(style_root, div_root, detail, where, rep)
    if not matched:
        rep.error(where, "no selector of %s applies" % div_name)
    if not skipped:
        rep.error(where, "every selector of %s applies (none shows the skip)" % div_name)
    merged_items = check_style_doc(style_root, where + " (merged)", rep, merged=True)
    specials = [(atoi(e.get("id")), atoi(e.get("value"))) for e in merged_items
                if atoi(e.get("id")) in SHUTTER_LIKE and (atoi(e.get("value")) == 100 or atoi(e.get("value")) >= 200)]

    profile = read_profile(os.path.join(base, "isp/profile.conf"), rep)
    dynamics = profile.get(channel - 1, [])
    listed = {id(e) for e in merged_items if len(e)}
    notes = narrow(style_root, dynamics, where, rep)
    for n in notes:
        rep.error(where, n)
    factory = []
    items_preorder(style_root, factory)
    pairs = [(atoi(e.get("id")), atoi(e.get("value"))) for e in factory]
    if len(pairs) >= FACTORY_CAPACITY:
        rep.error(where, "%d factory entries" % len(pairs))
    fkeys = [k for k, _ in pairs]
    if fkeys[:5] != SCHEME_KEYS:
        rep.error(where, "factory list does not start with the scheme keys")
    for cmd, _, _ in dynamics:
        if cmd not in fkeys:
            rep.error(where, "dynamic command %d has no factory entry" % cmd)
    for e in factory:
        k, v = atoi(e.get("id")), atoi(e.get("value"))
        choices = [atoi(c.get("index")) for c in e]
        if id(e) in listed and not choices:
            rep.error(where, "item %d lost all its choices" % k)
        if id(e) in listed and v not in choices:
            rep.error(where, "item %d value %d is not one of its choices %s" % (k, v, choices))
        if not choices and e.get("min") is not None:
            if not atoi(e.get("min")) <= v <= atoi(e.get("max")):
                rep.error(where, "item %d value %d outside %s..%s" % (k, v, e.get("min"), e.get("max")))
    fact = dict(pairs)
    start = fact.get(8001, 0) * 100 + fact.get(8002, 0)
    end = fact.get(8003, 0) * 100 + fact.get(8004, 0)
    if not (start <= 2400 and end <= 2400 and start < end):
        rep.error(where, "factory scheme window %04d-%04d is not valid" % (start, end))
    if "(isInfrared=17)" in detail and 163 in fact and 167 in fact and fact[163] + fact[167] > 100:
        rep.error(where, "limited IR power: near + far manual strength above 100")
    lpr = dtype == 8 and "(isInfrared=0)" not in detail and "(isInfrared=1)" not in detail
    if lpr:
        # The night scheme a plate-recognition model writes at first start.
        by_id = {atoi(e.get("id")): e for e in factory}
        for k, v in ((144, 0), (49, 18), (51, 20), (96, 1), (161, 2), (163, 40)):
            if k not in fact:
                rep.error(where, "plate-recognition night scheme key %d missing" % k)
                continue
            choices = [atoi(c.get("index")) for c in by_id[k]]
            if choices and v not in choices:
                rep.error(where, "plate-recognition night value %d=%d is not offered" % (k, v))
    pos = params.find("lensId")
    eq = params.find("=", pos) if pos >= 0 else -1
    has_lens = eq >= 0 and params.find(")", eq) >= 0 and atoi(params[eq + 1:]) != 0
    if has_lens != (1536 in fact):
        rep.error(where, "lens items %s a motorised lens" % ("without" if 1536 in fact else "missing for"))

    if thermal:
        fov = os.path.join(base, "mnt/mtd/hd1/program/config/sync_fov.ini")
        if not os.path.isfile(fov):
            rep.error(where, "sync_fov.ini missing")
        else:
            text = open(fov).read()
            if not re.search(r"zoom1=\d+,", text) or not re.search(r"focus1=\d+,", text):
                rep.error(where, "sync_fov.ini lacks zoom1=N, / focus1=N,")

    print("%-10s type %-2d channel %d  %s + %s" % (where, dtype, channel, style_name, div_name))
    print("         detail %s  parameters %s" % (detail, params))
    print("         applied: %s" % ", ".join("%s %s" % o for o in ops))
    print("         skipped selectors: %s" % "; ".join(",".join("%s=%s" % kv for kv in s.items()) for s in skipped))
    print("         special values: %s" % ", ".join("%d=%d" % s for s in specials))
    print("         dynamic commands: %s" % " ".join(str(c) for c, _, _ in dynamics))
    print("         factory entries: %d" % len(pairs))
    if verbose:
        for k, v in pairs:
            print("           (%d,%d) %s" % (k, v, KEYS.get(k, "?")))
    return matched, ops


def main(argv):
    verbose = "-v" in argv
    names = [a for a in argv if not a.startswith("-")]
    all_trees = not names
    if all_trees:
        names = sorted(d for d in os.listdir(DEVICES)
                       if os.path.isdir(os.path.join(DEVICES, d, "mnt")))
    rep = Report()
    # Every XML file of every tree is well formed; base styles obey the item rules.
    for name in names:
        for dirpath, _, files in os.walk(os.path.join(DEVICES, name)):
            for f in files:
                if not f.endswith(".xml"):
                    continue
                path = os.path.join(dirpath, f)
                root = parse_xml_file(path, rep, wrap="styleDiversity" in dirpath)
                if root is not None and dirpath.endswith("/style"):
                    check_style_doc(root, path, rep)
    # Shared product files are identical copies.
    shared = {}
    for name in names:
        for rel in (STYLE_DIR + "/Style.xml", DIV_DIR + "/StyleDiversity.xml"):
            p = os.path.join(DEVICES, name, rel)
            if os.path.isfile(p):
                shared.setdefault(rel, []).append((name, open(p, "rb").read()))
    for rel, copies in shared.items():
        if len({c for _, c in copies}) > 1:
            rep.error(rel, "copies differ between %s" % ", ".join(n for n, _ in copies))
    ops_seen = set()
    for name in names:
        result = check_tree(name, rep, verbose)
        if result:
            ops_seen.update(op for op, _ in result[1])
        if os.path.isfile(os.path.join(DEVICES, name, STYLE_DIR, "Style_Thermal.xml")):
            # The visible channel's pair, as a channel-1 controller would use it.
            check_tree(name, rep, verbose, channel=1)
    for op in ("Modify", "AddAfter", "Delete"):
        if all_trees and op not in ops_seen:
            rep.error("trees", "no tree applies a %s edit" % op)
    if rep.errors:
        print("\n%d problem(s):" % len(rep.errors))
        for e in rep.errors:
            print("  " + e)
        return 1
    print("\nall trees consistent")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
