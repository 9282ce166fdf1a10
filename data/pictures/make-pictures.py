#!/usr/bin/python3
"""How the pictures in this directory were made (docs/pictures.md): run once
with Debian's python3, python3-skimage and python3-pil; the results are
committed and nothing here runs at build time."""
import os
import shutil

import numpy as np
import tifffile
from PIL import Image

SKIMAGE = "/usr/lib/python3/dist-packages/skimage/data"
HERE = os.path.dirname(os.path.abspath(__file__))


def out(name):
    return os.path.join(HERE, name)


def srgb_encode(linear):
    linear = np.clip(linear, 0.0, 1.0)
    return np.where(linear <= 0.0031308, 12.92 * linear, 1.055 * linear ** (1 / 2.4) - 0.055)


def write_pgm16(path, values):
    """Binary PGM, maxval 65535, big-endian samples."""
    h, w = values.shape
    with open(path, "wb") as f:
        f.write(b"P5\n%d %d\n65535\n" % (w, h))
        f.write(values.astype(">u2").tobytes())


def window_desk(h, w):
    """Linear light of an office wall with a bright window above a desk."""
    y, x = np.mgrid[0:h, 0:w] / np.array([h, w])[:, None, None]
    wall = 0.08 + 0.10 * (1 - y) + 0.04 * np.exp(-((x - 0.3) ** 2) / 0.05)
    window = (np.abs(x - 0.55) < 0.22) & (y > 0.08) & (y < 0.52)
    sky = 0.85 - 0.35 * y
    frame = window & ((np.abs(x - 0.55) < 0.008) | (np.abs(y - 0.30) < 0.006))
    light = np.where(window, sky, wall)
    light = np.where(frame, 0.05, light)
    desk = y > 0.68
    light = np.where(desk, 0.22 - 0.12 * (y - 0.68) + 0.02 * np.sin(x * 90 + y * 7), light)
    light = np.where(np.abs(y - 0.68) < 0.004, 0.02, light)
    return light


def main():
    # Photographs, as the package has them or converted.
    shutil.copy(os.path.join(SKIMAGE, "astronaut.png"), out("astronaut.png"))  # 8-bit RGB PNG
    shutil.copy(os.path.join(SKIMAGE, "rocket.jpg"), out("rocket.jpg"))  # JPEG, RGB
    shutil.copy(os.path.join(SKIMAGE, "brick.png"), out("brick.png"))  # 8-bit grey PNG
    Image.open(os.path.join(SKIMAGE, "coffee.png")).save(out("coffee.jpg"), quality=90)
    Image.open(os.path.join(SKIMAGE, "chelsea.png")).save(out("chelsea.ppm"))  # binary P6, 8 bit
    Image.open(os.path.join(SKIMAGE, "camera.png")).save(out("camera.pgm"))  # binary P5, 8 bit

    # Generated scenes with 16-bit precision.
    light = window_desk(360, 480)
    Image.fromarray((srgb_encode(light) * 65535 + 0.5).astype(np.uint16)).save(out("window-desk-16.png"))
    tint = np.array([1.0, 0.92, 0.78])  # warm lamp light on the wall, daylight in the window
    rgb = window_desk(240, 320)[..., None] * tint
    tifffile.imwrite(out("window-desk-16.tif"), (srgb_encode(rgb) * 65535 + 0.5).astype(np.uint16),
                     photometric="rgb")
    # Venetian blinds: bright slats and dark gaps across the rows, linear light.
    y, x = np.mgrid[0:256, 0:256]
    slats = 0.15 + 0.75 * ((y % 24) < 17) * (0.9 + 0.1 * x / 255)
    write_pgm16(out("blinds-16.pgm"), slats * 60000)


if __name__ == "__main__":
    main()
