"""Photos of a checkerboard in front of a rough wall, as two made-up cameras see them. PNG files, without any library."""
import math
import random
import struct
import zlib

ROWS, COLS, FOCAL, BASELINE, SQUARE, WALL = 240, 320, 300.0, 0.1, 0.025, 1.2
INNER = (9, 6)  # corners where four squares meet
RIGHT_AT, LEFT_AT = 0.0, -BASELINE


def turned(tilt, lean, roll):
    """Rows of the rotation about x, then y, then z."""
    a, b, c = (math.cos(v) for v in (tilt, lean, roll))
    d, e, f = (math.sin(v) for v in (tilt, lean, roll))
    return [[c * b, c * e * d - f * a, c * e * a + f * d], [f * b, f * e * d + c * a, f * e * a - c * d],
            [-e, b * d, b * a]]


def rough(noise, x, y):
    """A texture with details of 15 mm and of 45 mm, the same from wherever it is seen."""
    value = 0.0
    for grain, strength in ((66.0, 70.0), (22.0, 50.0)):
        u, v = x * grain + 500.0, y * grain + 500.0
        i, j = int(u), int(v)
        p, q = u - i, v - j
        row, below = noise[j % 64], noise[(j + 1) % 64]
        top = row[i % 64] * (1 - p) + row[(i + 1) % 64] * p
        bottom = below[i % 64] * (1 - p) + below[(i + 1) % 64] * p
        value += strength * (top * (1 - q) + bottom * q)
    return 70.0 + value


def photo(noise, camera_x, rotation, middle):
    """One picture. A pixel's ray meets the board's plane at (u, v) squares from its middle, or the wall."""
    (ax, bx, nx), (ay, by, ny), (az, bz, nz) = rotation  # columns: along the board's rows, its columns, its normal
    mx, my, mz = middle[0] - camera_x, middle[1], middle[2]
    height = mx * nx + my * ny + mz * nz
    half_u, half_v = (INNER[0] + 1) / 2.0, (INNER[1] + 1) / 2.0
    pixels = bytearray()
    for row in range(ROWS):
        y = (row - (ROWS - 1) / 2.0) / FOCAL
        for col in range(COLS):
            x = (col - (COLS - 1) / 2.0) / FOCAL
            depth = height / (x * nx + y * ny + nz)
            px, py, pz = x * depth - mx, y * depth - my, depth - mz
            u = (px * ax + py * ay + pz * az) / SQUARE
            v = (px * bx + py * by + pz * bz) / SQUARE
            if abs(u) < half_u and abs(v) < half_v:
                sharp = FOCAL * SQUARE / depth  # pixels of a square: edges are a pixel wide
                wave = sharp / math.pi * 1.6
                side = [max(-1.0, min(1.0, wave * math.sin(math.pi * (w + h)))) for w, h in ((u, half_u), (v, half_v))]
                value = 128.0 - 90.0 * side[0] * side[1]
            elif abs(u) < half_u + 1.0 and abs(v) < half_v + 1.0:
                value = 218.0
            else:
                value = rough(noise, camera_x + x * WALL, y * WALL)
            pixels.append(int(max(0.0, min(255.0, value))))
    return bytes(pixels)


def png(pixels):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    rows = b"".join(b"\0" + pixels[at:at + COLS] for at in range(0, len(pixels), COLS))
    header = struct.pack(">IIBBBBB", COLS, ROWS, 8, 0, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows, 1)) + chunk(b"IEND", b"")


def write_photos(right, left, count):
    """Writes 1.png and so on into two folders: the board all over the view, near and far, tilted."""
    chance = random.Random(5)
    noise = [[chance.random() for _ in range(64)] for _ in range(64)]
    for shot in range(count):
        rotation = turned(chance.uniform(-0.5, 0.5), chance.uniform(-0.5, 0.5), chance.uniform(-0.2, 0.2))
        depth = chance.uniform(0.38, 0.55)
        middle = (-BASELINE / 2 + (shot % 3 - 1) * 0.03, (shot // 3 % 3 - 1) * 0.04, depth)
        for folder, camera in ((right, RIGHT_AT), (left, LEFT_AT)):
            (folder / ("%d.png" % (shot + 1))).write_bytes(png(photo(noise, camera, rotation, middle)))
