#!/usr/bin/env python3
"""Writes the two system sounds as small 16-bit mono WAV files.

1520.wav  the long-press "peek": a 25 ms tick, quickly damped.
1302.wav  the outside-sector alarm: a 250 ms beep at 1 kHz with soft edges.

Run it from this folder; the output is committed, so builds don't need it.
"""
import math
import struct
import wave

RATE = 22050


def write(name, samples):
    with wave.open(name, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(b"".join(struct.pack("<h", int(max(-1.0, min(1.0, s)) * 32000)) for s in samples))


def tick():
    n = int(RATE * 0.025)
    return [0.8 * math.exp(-i / (RATE * 0.004)) * math.sin(2 * math.pi * 2400 * i / RATE) for i in range(n)]


def beep():
    n = int(RATE * 0.25)
    fade = int(RATE * 0.01)
    out = []
    for i in range(n):
        edge = min(1.0, i / fade, (n - 1 - i) / fade)
        out.append(0.6 * edge * math.sin(2 * math.pi * 1000 * i / RATE))
    return out


if __name__ == "__main__":
    write("1520.wav", tick())
    write("1302.wav", beep())
