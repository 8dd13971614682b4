#!/usr/bin/env python3
"""Writes a made-up report of any number of rows, for measuring.

    made_report.py ROWS [SEED] >report.csv

Groups have 2 to 9 files, most of them 2; folders are 5 to 7 deep, one for every 15 rows; a row has
about 90 bytes. The same arguments give the same bytes.
"""
import random
import sys

EXTENSIONS = ["jpg"] * 6 + ["png", "pdf", "docx", "mp3", "mp4", "zip", "dll", "txt", "html", "JPG"]
WORDS = ["photos", "archive", "été", "projets", "Clients", "sauvegarde", "factures", "copie",
         "travail", "images", "musique", "rapports", "divers", "ancien", "Documents"]


def folders(chance, count):
    tops = ["C:\\Utilisateurs\\Camille", "D:\\Sauvegardes\\2024", "D:\\Médias", "E:\\Partage"]
    found = set()
    while len(found) < count:
        depth = chance.randint(3, 5)
        parts = [f"{chance.choice(WORDS)} {chance.randint(1, 60)}" for _ in range(depth)]
        found.add("\\".join([chance.choice(tops), *parts]))
    return sorted(found)


def write(rows, seed, out):
    chance = random.Random(seed)
    places = folders(chance, max(8, rows // 15))
    out.write(b"\xef\xbb\xbfGroupe;Statut;Chemin complet;Taille en octets\r\n")
    group = written = 0
    while written < rows:
        group += 1
        files = min(rows - written, chance.choice((2, 2, 2, 2, 2, 3, 3, 4, 9)))
        if rows - written - files == 1:
            files += 1
        if files < 2:
            break
        size = int(10 ** chance.uniform(1, 8.5))
        name = f"{chance.choice(WORDS)}_{chance.randint(1, 999_999):06}.{chance.choice(EXTENSIONS)}"
        paths = sorted((place + "\\" + name for place in chance.sample(places, files)),
                       key=str.lower)
        out.write("".join(f'{group};{"Doublon" if at else "Original"};"{path}";{size}\r\n'
                          for at, path in enumerate(paths)).encode())
        written += files


if __name__ == "__main__":
    write(int(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 1, sys.stdout.buffer)
