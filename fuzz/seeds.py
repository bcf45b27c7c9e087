#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets whose input is read through
libFuzzer's FuzzedDataProvider (dbus_request, tv_context, vconf_value,
kpi_result, console_output, recording): each seed is a short story told the
way its target reads it, so that a run starts from calls, events and values
that mean something. The seeds of the text targets are written by hand.

FuzzedDataProvider takes texts and raw bytes from the front of the input and
numbers from its back, the first number from the last byte. A text ends at a
backslash followed by anything but a backslash.

usage: fuzz/seeds.py   (rewrites fuzz/corpus/<target>/<seed> of those targets)
"""
import os
import struct

CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


class Input:
    def __init__(self):
        self.front = bytearray()
        self.numbers = bytearray()  # in the order they are taken

    def number(self, value, lo, hi, size=4):
        """ConsumeIntegralInRange<T>(lo, hi) giving value; size = sizeof(T)."""
        assert lo <= value <= hi
        span, offset, count = hi - lo, 0, 0
        while offset < size * 8 and (span >> offset) > 0:
            offset += 8
            count += 1
        self.numbers += (value - lo).to_bytes(count, "big") if count else b""
        return self

    def int32(self, value):
        return self.number(value, -2**31, 2**31 - 1)

    def boolean(self, value):
        return self.number(1 if value else 0, 0, 255, size=1)

    def pick(self, index, count):
        return self.number(index, 0, count - 1, size=8)

    def zero_double(self):
        # ConsumeFloatingPoint<double>: the upper half, at its start (0.0).
        self.boolean(True)
        return self.number(0, 0, 2**64 - 1, size=8)

    def text(self, value):
        data = value.encode() if isinstance(value, str) else value
        self.front += data.replace(b"\\", b"\\\\") + b"\\\n"
        return self

    def rest(self, value):
        self.front += value.encode() if isinstance(value, str) else value
        return self

    def bytes(self):
        return bytes(self.front) + bytes(reversed(self.numbers))


def write(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(data.bytes() if isinstance(data, Input) else data)


TRACK = "KAE/SUBSCRIBE/TRACK_SEGMENT/"
PRESENCE = "KAE/GET/PRESENCE/"
DISTANCE = "KAE/GET/PRESENCE_DISTANCE/"
SUBJECTS = [PRESENCE, DISTANCE, TRACK, "HELLO", "BYE", ""]
RESULT = ('{"result":[{"segments":[{"num_of_segment":6,"segment":"0,1,0,0,0,0"}],'
          '"tracks":[{"angle":-12.5,"id":1.0,"range":1.75,"velocity":0.3}]}],'
          '"status":"success"}')


# dbus_request: operations 0-1 call, 2 publish, 3 departure, 4 presence
# result, 5 serve the queued reads.
def call(seed, sender, kind, subject, body="", write_call=False):
    seed.number(0, 0, 5).number(0 if write_call else 1, 0, 3)
    seed.number(1, 0, 7).pick(sender, 4)
    seed.number(1, 0, 3).int32(4242)
    if 1 <= kind <= 5:
        seed.boolean(True).number(kind, 1, 5)
    else:
        seed.boolean(False).int32(kind)
    seed.int32(7)
    if subject in SUBJECTS:
        seed.boolean(True).pick(SUBJECTS.index(subject), len(SUBJECTS))
    else:
        seed.boolean(False).text(subject)
    if write_call:
        seed.int32(1)
    else:
        seed.text(body)
    return seed


def dbus_request():
    seed = call(Input(), 0, 3, TRACK)
    seed.number(2, 0, 5).boolean(True).rest("")
    seed.text(RESULT)
    call(seed, 0, 4, TRACK)
    write("dbus_request", "subscribe-publish-unsubscribe", seed)

    seed = Input().number(4, 0, 5).number(1, -5, 10).zero_double()
    call(seed, 1, 1, PRESENCE)
    call(seed, 1, 1, DISTANCE)
    call(seed, 2, 1, "KAE/GET/NOTHING/")
    seed.number(5, 0, 5)
    write("dbus_request", "reads", seed)

    seed = call(Input(), 0, 3, TRACK)
    call(seed, 1, 3, TRACK)
    call(seed, 0, 3, TRACK)  # twice: refused
    call(seed, 1, 3, "OTHER/\n\x1b[31mforged")
    seed.number(3, 0, 5).number(1, 0, 7).pick(0, 4).boolean(False)
    seed.number(2, 0, 5).boolean(True).text("{}")
    write("dbus_request", "duplicate-and-departure", seed)

    seed = call(Input(), 3, 2, PRESENCE, write_call=True)
    call(seed, 3, 99, "X", "input")
    call(seed, 3, -1, "")
    write("dbus_request", "write-and-unknown-types", seed)

    seed = Input().number(0, 0, 5).number(1, 0, 3).number(1, 0, 7).pick(0, 4).number(0, 0, 3)
    seed.text("(iiiss)").text(struct.pack("<iii", 1, 3, 7) + b"KAE/SUBSCRIBE/\0in\0")
    seed.number(0, 0, 5).number(1, 0, 3).number(1, 0, 7).pick(0, 4).number(0, 0, 3)
    seed.text("(s)").text(b"text\0")
    write("dbus_request", "wrong-signature", seed)


# tv_context: operations 0-1 event, 2 journal line, 3 what the collector
# looks up.
APP_CHANGE = 0
SOURCE_CHANGED = 5


def event(seed, subject, data, result=0):
    seed.number(0, 0, 3)
    if result == 0:
        seed.boolean(True)
    else:
        seed.boolean(False).number(result, -2**31, 2**31 - 1)
    if isinstance(subject, int):
        seed.number(2, 0, 3).number(subject, 0, 7, size=8)
    else:
        seed.number(1, 0, 3).text(subject)
    return seed.text(data)


def tv_context():
    seed = event(Input(), APP_CHANGE, '{"EventType":"Launch","AppId":"org.tizen.tv-viewer"}')
    seed.number(3, 0, 3).number(1, 0, 2).boolean(True).pick(1, 6)
    event(seed, SOURCE_CHANGED, '{"TVSStatus":"Activate"}')
    write("tv_context", "viewer-source-change", seed)

    seed = Input().number(3, 0, 3).number(0, 0, 2)
    seed.text('{"HDMI1":[{"DeviceName":"Game console"}],"HDMI2":[]}')
    event(seed, APP_CHANGE, '{"EventType":"Launch","AppId":"org.tizen.tv-viewer"}')
    event(seed, APP_CHANGE, '{"EventType":"Launch","AppId":"org.tizen.netflix-app"}')
    event(seed, APP_CHANGE, '{"EventType":"Partial","AppId":"x"}')
    write("tv_context", "device-name-and-apps", seed)

    seed = Input().number(3, 0, 3).number(1, 0, 2).boolean(True).pick(2, 6)
    seed.number(3, 0, 3).number(2, 0, 2).boolean(True).pick(0, 3)
    event(seed, APP_CHANGE, '{"AppId":"org.tizen.tv-viewer"}')
    event(seed, 3, '{"TVSStatus":"Deactivate"}')
    write("tv_context", "live-tv", seed)

    seed = Input().number(2, 0, 3).text("P/App/Change\t{\"AppId\":\"org.tizen.kiv-app\"}")
    seed.number(2, 0, 3).text("P/Time/Valid\t{\"valid\":1}\\tx")
    write("tv_context", "journal-lines", seed)

    seed = event(Input(), 6, '{"valid":1}')
    event(seed, 7, '{"state":1}')
    event(seed, "R/App/Current", '{"AppId":"org.tizen.kiv-app"}', result=-61)
    event(seed, APP_CHANGE, '{"AppId":')
    event(seed, APP_CHANGE, '[1,2]')
    write("tv_context", "flags-errors-broken", seed)


# vconf_value: operations 0-1 notification, 2 journal line, 3 value file.
KEYS = ["memory/motion-sensor-service/motion_sensor_state", "db/sysman/rotation_state",
        "db/homedatacontrol/disclaimeragrees", "db/comss/countrycode",
        "memory/data-service/ready"]
STRINGS = ['{"presence":"true"}', '{"presence":"false"}', "US", "KR", "AA", "XX", ""]
TYPES = [41, 40, 43, 42, 0]  # int, string, bool, double, none


def notify(seed, key, kind, number=0, text=""):
    seed.number(0, 0, 3).number(1, 0, 7).pick(key, 5).pick(TYPES.index(kind), 5)
    if -1 <= number <= 3:
        seed.boolean(True).number(number, -1, 3)
    else:
        seed.boolean(False).int32(number)
    seed.zero_double().boolean(False)
    if text in STRINGS:
        seed.boolean(True).pick(STRINGS.index(text), len(STRINGS))
    else:
        seed.boolean(False).text(text)
    return seed


def vconf_value():
    seed = notify(Input(), 0, 41, 2)
    notify(seed, 0, 41, 1)
    notify(seed, 0, 41, 0)
    notify(seed, 0, 41, 7)
    write("vconf_value", "claim-answer-release", seed)

    seed = notify(Input(), 2, 40, text='{"presence":"true"}')
    notify(seed, 3, 40, text="USA")
    notify(seed, 3, 40, text="XX")
    notify(seed, 3, 40, text="KR")
    notify(seed, 2, 40, text='{"presence":true}')
    write("vconf_value", "statistics-on-and-off", seed)

    seed = notify(Input(), 1, 41, 0)
    notify(seed, 1, 40, text="1")
    notify(seed, 4, 41, 1)
    write("vconf_value", "rotation-ready-wrong-type", seed)

    seed = Input().number(2, 0, 3).boolean(False)
    seed.text("db/homedatacontrol/disclaimeragrees\tstring\t{\"presence\":\"true\"}")
    seed.number(2, 0, 3).boolean(False).text("db/comss/countrycode\tstring\tGB")
    seed.number(2, 0, 3).boolean(True).number(1, 0, 7).pick(0, 5).pick(0, 4)
    seed.boolean(False).text("2")
    write("vconf_value", "journal-lines", seed)

    seed = Input().number(3, 0, 3).pick(0, 5).text("int\n2")
    seed.number(3, 0, 3).pick(2, 5).text('string\n{"presence":"true"}')
    seed.number(3, 0, 3).pick(3, 5).text("string\nDE")
    seed.number(3, 0, 3).pick(1, 5).text("int\n99999999999")
    write("vconf_value", "value-files", seed)


# kpi_result: operations 0-2 result document, 3 presence sample, 4 period
# end, 5 time passing, 6 application change, 7 KPI log line.
def kpi_result():
    seed = Input()
    for _ in range(3):
        seed.number(0, 0, 7).text(RESULT)
    seed.number(0, 0, 7).text('{"result":[{"tracks":[]}],"status":"success"}')
    seed.number(4, 0, 7).number(3, 0, 4)
    seed.number(4, 0, 7).number(1, 0, 4)
    write("kpi_result", "segment-period", seed)

    seed = Input()
    for metres in (0, 2, 3):
        seed.number(3, 0, 7).number(1, -1, 2).boolean(True).pick(metres, 9)
    seed.number(3, 0, 7).number(1, -1, 2).boolean(True).pick(8, 9)  # NaN
    seed.number(4, 0, 7).number(0, 0, 4)
    seed.number(5, 0, 7).number(601, 0, 1200)
    seed.number(4, 0, 7).number(2, 0, 4)
    write("kpi_result", "presence-report-on-time", seed)

    seed = Input().number(0, 0, 7).text(RESULT)
    seed.number(6, 0, 7).text("org.tizen.netflix-app")
    write("kpi_result", "report-on-app-change", seed)

    tracks = ",".join('{"id":%d,"range":%s,"angle":%s}' % (i, r, a) for i, r, a in (
        (1, "0.4", "-59.9"), (2, "6.99", "60"), (3, "-0.1", "0"), (0, "1", "1"),
        (4, "1e300", "-1e300"), (5, "2", "40"), (6, "3", "-41"), (7, "4", "20")))
    seed = Input().number(0, 0, 7).text('{"result":[{"tracks":[%s]}]}' % tracks)
    seed.number(0, 0, 7).text('{"result":{"tracks":[{"id":1,"range":1}]}}')
    seed.number(4, 0, 7).number(4, 0, 4)
    write("kpi_result", "odd-tracks", seed)

    seed = Input().number(7, 0, 7)
    seed.text('{"category":"22_useractivity","description":"{presence=[0]}","event":"EV001",'
              '"module":"SEGMENTATION","time":1709641449}')
    seed.number(7, 0, 7).text('{"category":"c","description":"d","event":"e","module":"m",'
                              '"time":-9223372036854775808}')
    write("kpi_result", "log-lines", seed)


# console_output: result, subject, then the output (the rest).
CONSOLE_SUBJECTS = ["HELLO", "BYE", TRACK, PRESENCE, DISTANCE]
CONSOLE_RESULTS = [0, -1, -3, -4, -5, 10]


def console(name, result, subject, output):
    seed = Input()
    seed.boolean(True).pick(CONSOLE_RESULTS.index(result), len(CONSOLE_RESULTS))
    if subject in CONSOLE_SUBJECTS:
        seed.boolean(True).number(CONSOLE_SUBJECTS.index(subject), 0, 4, size=8)
    else:
        seed.boolean(False).text(subject)
    write("console_output", name, seed.rest(output))


def console_output():
    console("hello", 0, "HELLO", '{"WhiteList":["sensord","kae-test-console"]}')
    console("bye", 0, "BYE", "{}")
    console("track", 10, TRACK, RESULT)
    console("presence", 0, PRESENCE, "1")
    console("distance", 0, DISTANCE, '{"detection":1,"distance":"2.24"}')
    console("forged", -3, "X\n\x1b[2J", '{"a":1e+9999,"b":"\\u0000"} trailing')


# recording: frames, how far the size is off, then the byte pattern.
def recording(name, frames, size_error, pattern):
    errors = [0, 0, 0, 0, 1, -1, 12288]
    seed = Input().number(frames, 0, 3).pick(errors.index(size_error), len(errors))
    write("recording", name, seed.rest(pattern))


def recordings():
    recording("mid-scale", 1, 0, bytes([0x80, 0x08, 0x00]))
    recording("saturated", 2, 0, bytes([0xff]))
    recording("tone", 3, 0, bytes([0x80, 0x08, 0x00, 0xc0, 0x0c, 0x00, 0x80, 0x08, 0x00,
                                   0x40, 0x04, 0x00]))
    recording("half-frame-more", 1, 12288, bytes([0x12, 0x34, 0x56]))
    recording("one-byte-short", 1, -1, b"")
    recording("empty", 0, 0, b"")


if __name__ == "__main__":
    dbus_request()
    tv_context()
    vconf_value()
    kpi_result()
    console_output()
    recordings()
