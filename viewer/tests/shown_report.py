#!/usr/bin/env python3
"""Writes the report that the screenshots show: a family's photos, music and papers, with copies.

    shown_report.py >report.csv
"""
import random
import sys


def files(chance):
    """Contents: the size, and the paths that hold it."""
    home, disk, share = "C:\\Users\\Camille", "D:\\Sauvegarde 2023", "\\\\serveur\\partage"
    for year in (2019, 2020, 2021, 2022, 2023):
        for month in ("01 Montagne", "04 Pâques", "07 Été", "08 Bretagne", "12 Noël"):
            for number in range(chance.randint(6, 16)):
                name = f"IMG_{year}{number + 100:04}.jpg"
                paths = [f"{home}\\Pictures\\{year}\\{month}\\{name}"]
                if chance.random() < 0.8:
                    paths.append(f"{disk}\\Photos\\{year}\\{month}\\{name}")
                if chance.random() < 0.3:
                    paths.append(f"{home}\\Downloads\\à trier\\{name}")
                if chance.random() < 0.2:
                    paths.append(f"{share}\\Famille\\{year}\\{name}")
                yield chance.randint(2_000_000, 9_000_000), paths
    for number in range(24):
        name = f"Vacances {number + 1:02}.mp4"
        paths = [f"{home}\\Videos\\{name}", f"{disk}\\Vidéos\\{name}"]
        if number % 4 == 0:
            paths.append(f"{share}\\Famille\\Films\\{name}")
        yield chance.randint(150_000_000, 1_900_000_000), paths
    for album in ("Les Saisons", "Nuits d’été", "Sur la route"):
        for track in range(1, 12):
            name = f"{track:02} Piste.flac"
            yield chance.randint(18_000_000, 45_000_000), [
                f"{home}\\Music\\{album}\\{name}", f"{disk}\\Musique\\{album}\\{name}"]
    for number in range(60):
        name = f"Facture {2018 + number % 6}-{number % 12 + 1:02} ({number}).pdf"
        yield chance.randint(40_000, 900_000), [
            f"{home}\\Documents\\Factures\\{name}", f"{home}\\Documents\\Factures\\Copie\\{name}",
            f"{disk}\\Documents\\Factures\\{name}"][:chance.randint(2, 3)]
    yield 812_004, [f"{home}\\Documents\\facture\u202efdp.exe", f"{home}\\Downloads\\<b>facture</b>.exe"]
    yield 48_200, [f"{home}\\Documents\\plan.odt", ""]
    yield 0, [f"{home}\\Documents\\{name}" for name in ("vide.txt", "à faire.txt", "notes.txt")]


def main():
    groups = [(size, sorted(paths, key=lambda path: path.upper()))
              for size, paths in files(random.Random(4)) if len(paths) > 1]
    groups.sort(key=lambda group: next(filter(None, group[1])).upper())
    lines = ["\ufeffGroupe;Statut;Chemin complet;Taille en octets\r\n"]
    for number, (size, paths) in enumerate(groups, 1):
        lines += [f'{number};{"Doublon" if at else "Original"};"{path}";{size}\r\n'
                  for at, path in enumerate(paths)]
    sys.stdout.buffer.write("".join(lines).encode())


if __name__ == "__main__":
    main()
