"""How well what recordings share is found: the part of benchmarks/accuracy behind --parts.

Makes mixes of six tracks, cuts of tracks, and tracks with other audio before, behind and within
them, searches all of them and the tracks with --parts, and prints what was found, how exactly, and
what was found although it is not there. Files of silence, tones and noise share nothing either.
"""

import concurrent.futures
import dataclasses
import json
import os
import pathlib
import random
import statistics
import subprocess
import sys

# The fast ways of the slow encoders: they lose a little more, and take half the time.
ENCODINGS = {
    "MP3, 128 kbit/s": ("mp3", ["-c:a", "libmp3lame", "-compression_level", "7", "-b:a", "128k"]),
    "AAC, 96 kbit/s": ("m4a", ["-c:a", "aac", "-aac_coder", "fast", "-b:a", "96k"]),
    "Opus, 48 kbit/s": ("mka", ["-c:a", "libopus", "-b:a", "48k", "-ar", "48000"]),
    "22 kHz mono": ("flac", ["-ar", "22050", "-ac", "1"]),
}
# Places that are cut out, tracks with other audio, tracks under other music; silence and the like.
CUTS = 200
ADDED = 100
UNDER = 20
SIGNALS = 1000
CUT_SECONDS = [10, 20, 30, 60]
ADDED_SECONDS = [8, 15, 30]
ADDED_PLACES = ["before", "behind", "within"]
LEVELS = [0, -6, -12]
# Tracks of these lengths are mixed, if there are enough: each mix is encoded and read four times.
MIXED_SECONDS = (40.0, 140.0)
MIXED_TRACKS = 30
FADE_SECONDS = 5.0
# A part is the expected one if it is laid at the same place of the track, but for half a word.
SAME_SHIFT_SECONDS = 0.3
EXACT_SECONDS = 1.0
ONE_FORMAT = "aresample=44100,aformat=sample_fmts=s16:channel_layouts=stereo"
SEED = 20


@dataclasses.dataclass
class Expected:
    """A stretch of a track that a made file has."""
    track: pathlib.Path
    track_begin: float
    made_begin: float
    seconds: float
    fade_before: float = 0.0
    fade_behind: float = 0.0


@dataclasses.dataclass
class Made:
    """A made file, the row of the tables that it counts for, and what it shares with tracks."""
    path: pathlib.Path
    row: str
    expected: list
    # A track of which it has something that is not expected to be found.
    other: pathlib.Path | None = None


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], check=True)


def make_mix(tracks, lengths, is_faded, folder, name):
    """One mix in all encodings: tracks one after another, or each faded into the next one."""
    fade = FADE_SECONDS if is_faded else 0.0
    inputs = [argument for track in tracks for argument in ("-i", track)]
    graph = "".join(f"[{i}:a:0]{ONE_FORMAT}[a{i}];" for i in range(len(tracks)))
    if is_faded:
        graph += "[a0]"
        for i in range(1, len(tracks)):
            graph += f"[a{i}]acrossfade=d={FADE_SECONDS}"
            graph += f"[m{i}];[m{i}]" if i + 1 < len(tracks) else ","
    else:
        graph += "".join(f"[a{i}]" for i in range(len(tracks)))
        graph += f"concat=n={len(tracks)}:v=0:a=1,"
    graph += f"asplit={len(ENCODINGS)}" + "".join(f"[o{i}]" for i in range(len(ENCODINGS)))
    outputs = []
    made = []
    expected = []
    begin = 0.0
    for i, track in enumerate(tracks):
        expected.append(Expected(track, 0.0, begin, lengths[track], fade if i > 0 else 0.0,
                                 fade if i + 1 < len(tracks) else 0.0))
        begin += lengths[track] - fade
    for i, (title, (ending, arguments)) in enumerate(ENCODINGS.items()):
        path = folder / f"{name}-{i}.{ending}"
        outputs += ["-map", f"[o{i}]", "-map_metadata", "-1", *arguments, path]
        kind = "mix, faded" if is_faded else "mix"
        made.append(Made(path, f"{kind}, {title}", expected))
    ffmpeg(*inputs, "-filter_complex", graph, *outputs)
    return made


def make_cut(track, begin, seconds, encoding, folder, name):
    ending, arguments = ENCODINGS[encoding]
    path = folder / f"{name}.{ending}"
    ffmpeg("-i", track, "-map", "0:a:0", "-map_metadata", "-1",
           "-af", f"atrim={begin}:{begin + seconds},asetpts=PTS-STARTPTS", *arguments, path)
    return [Made(path, f"cut of {seconds} s", [Expected(track, begin, 0.0, seconds)])]


def make_with_added(track, length, other, seconds, place, folder, name):
    """The track with so many seconds of another one before, behind or within it."""
    at = {"before": 0.0, "behind": length, "within": length / 2}[place]
    path = folder / f"{name}.flac"
    pieces = [(0, 0.0, at), (1, 20.0, 20.0 + seconds), (0, at, length)]
    pieces = [piece for piece in pieces if piece[2] > piece[1]]
    graph = "".join(f"[{source}:a:0]{ONE_FORMAT},atrim={begin}:{end},asetpts=PTS-STARTPTS[p{i}];"
                    for i, (source, begin, end) in enumerate(pieces))
    graph += "".join(f"[p{i}]" for i in range(len(pieces))) + f"concat=n={len(pieces)}:v=0:a=1[out]"
    ffmpeg("-i", track, "-i", other, "-filter_complex", graph, "-map", "[out]",
           "-map_metadata", "-1", path)
    expected = [Expected(track, begin, begin + (seconds if begin >= at else 0.0), end - begin)
                for source, begin, end in pieces if source == 0]
    # What was added is a stretch of the other one.
    if seconds >= 20:
        expected.append(Expected(other, 20.0, at, seconds))
    return [Made(path, f"{seconds} s {place} the track", expected, other)]


def make_under(track, begin, other, level, folder, name):
    """A minute of the track with another one over it, at a level in dB."""
    path = folder / f"{name}.flac"
    graph = (f"[0:a:0]{ONE_FORMAT},atrim={begin}:{begin + 60},asetpts=PTS-STARTPTS[a];"
             f"[1:a:0]{ONE_FORMAT},volume={level}dB[b];"
             "[a][b]amix=inputs=2:duration=first:normalize=0[out]")
    ffmpeg("-i", track, "-i", other, "-filter_complex", graph, "-map", "[out]",
           "-map_metadata", "-1", path)
    return [Made(path, f"a minute under other music at {level} dB",
                 [Expected(track, begin, 0.0, 60.0)], other)]


def make_faster(track, begin, folder, name):
    path = folder / f"{name}.flac"
    ffmpeg("-i", track, "-map", "0:a:0", "-map_metadata", "-1", "-af",
           f"{ONE_FORMAT},atrim={begin}:{begin + 60},asetpts=PTS-STARTPTS,"
           "asetrate=44541,aresample=44100", path)
    return [Made(path, "a minute, 1 % faster", [Expected(track, begin, 0.0, 60.0)])]


def plan(tracks, lengths, mixes, folder):
    """What is to be made, as functions that make it."""
    chance = random.Random(SEED)
    long = [track for track in tracks if lengths[track] >= 70.0]
    if len(long) < 6:
        sys.exit("Parts are measured with at least six tracks of 70 s or more.")

    def place_in(track, seconds):
        return chance.uniform(0.0, lengths[track] - seconds)

    jobs = []
    # Chance of its own: what else is made does not depend on the number of mixes.
    mix_chance = random.Random(SEED)
    mixed = [track for track in tracks if MIXED_SECONDS[0] <= lengths[track] <= MIXED_SECONDS[1]]
    if len(mixed) < MIXED_TRACKS:
        mixed = long
    for i in range(mixes):
        six = mix_chance.sample(mixed, 6)
        jobs.append(lambda six=six, i=i: make_mix(six, lengths, i % 2 == 1, folder, f"mix{i}"))
    encodings = list(ENCODINGS)
    for i in range(CUTS):
        track = chance.choice(long)
        for k, seconds in enumerate(CUT_SECONDS):
            begin = place_in(track, seconds)
            jobs.append(lambda t=track, b=begin, s=seconds, e=encodings[(i + k) % 4], i=i:
                        make_cut(t, b, s, e, folder, f"cut{i}-{s}"))
    for i in range(ADDED):
        track, other = chance.sample(long, 2)
        for k, seconds in enumerate(ADDED_SECONDS):
            jobs.append(lambda t=track, o=other, s=seconds, p=ADDED_PLACES[(i + k) % 3], i=i:
                        make_with_added(t, lengths[t], o, s, p, folder, f"added{i}-{s}"))
    for i in range(UNDER):
        track, other = chance.sample(long, 2)
        begin = place_in(track, 60.0)
        for level in LEVELS:
            jobs.append(lambda t=track, b=begin, o=other, v=level, i=i:
                        make_under(t, b, o, v, folder, f"under{i}{v}"))
        jobs.append(lambda t=track, b=begin, i=i: make_faster(t, b, folder, f"faster{i}"))
    return jobs


def plan_signals(folder):
    """Silence, tones and noise, each of its own length and frequency, or colour and seed."""
    chance = random.Random(SEED)
    colours = ["white", "pink", "brown", "blue", "violet", "velvet"]
    jobs = []
    for i in range(SIGNALS):
        source = ["anullsrc=r=44100", f"sine=f={chance.uniform(50.0, 5000.0):.1f}",
                  f"anoisesrc=c={chance.choice(colours)}:s={i}"][i % 3]
        seconds = chance.uniform(20.0, 300.0)
        jobs.append(lambda source=source, seconds=seconds, i=i: ffmpeg(
            "-f", "lavfi", "-i", source, "-t", seconds, "-ac", 1, folder / f"signal{i}.flac"))
    return jobs


def make_all(jobs):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return [made for result in pool.map(lambda job: job(), jobs) for made in result or []]


def parts_of(result):
    """The parts of a search: {(path, other path): [(begin, other begin, seconds, similarity)]}."""
    parts = {}
    for part in result["parts"]:
        begins = part["firstBeginMs"] / 1000.0, part["secondBeginMs"] / 1000.0
        length = part["lengthMs"] / 1000.0
        first, second = pathlib.Path(part["first"]), pathlib.Path(part["second"])
        parts.setdefault((first, second), []).append((*begins, length, part["similarity"]))
        parts.setdefault((second, first), []).append((*reversed(begins), length,
                                                      part["similarity"]))
    return parts


class Row:
    """What was found of one kind of stretch."""

    def __init__(self):
        self.all = self.found = self.exact = self.elsewhere = 0
        self.similarities = []
        self.worst = 0.0

    def add(self, expected, parts):
        """Counts one expected stretch; parts are those of the made file with the track."""
        self.all += 1
        shift = expected.made_begin - expected.track_begin
        end = expected.made_begin + expected.seconds
        hits = [part for part in parts
                if abs(part[0] - part[1] - shift) <= SAME_SHIFT_SECONDS
                and part[0] < end and part[0] + part[2] > expected.made_begin]
        if not hits:
            self.elsewhere += any(part[0] < end and part[0] + part[2] > expected.made_begin
                                  for part in parts)
            return
        self.found += 1
        begin, _, length, similarity = max(hits, key=lambda part: part[2])
        self.similarities.append(similarity)
        # Within a fade any place will do.
        late = max(0.0, abs(begin - expected.made_begin - expected.fade_before / 2)
                   - expected.fade_before / 2)
        early = max(0.0, abs(end - begin - length - expected.fade_behind / 2)
                    - expected.fade_behind / 2)
        self.worst = max(self.worst, late, early)
        self.exact += max(late, early) <= EXACT_SECONDS

    def text(self, name):
        lowest = f"{min(self.similarities)} %" if self.similarities else ""
        median = f"{statistics.median(self.similarities):g} %" if self.similarities else ""
        share = f"{100.0 * self.found / self.all:.1f} %"
        return (f"| {name} | {self.found} of {self.all} | {share} | {self.exact} | "
                f"{self.worst:.1f} s | {self.elsewhere} | {lowest} | {median} |")


def print_found(made, parts, row_of, rows_begin):
    rows = {}
    for file in made:
        for expected in file.expected:
            name = row_of(file, expected)
            if name:
                found = parts.get((file.path, expected.track), [])
                rows.setdefault(name, Row()).add(expected, found)
    print(f"| {rows_begin} | found | share | to 1 s | worst | at another place | lowest | median |")
    print("|---|---|---|---|---|---|---|---|")
    for name in sorted(rows):
        print(rows[name].text(name))
    print()


def length_class(_, expected):
    if expected.seconds >= 29.9:
        return "30 s and more"
    return "20 s" if expected.seconds >= 19.9 else None


def is_plain(file):
    """Whether it is one of those that all are to be found in."""
    return "under" not in file.row and "faster" not in file.row


def print_false(tracks, made, parts):
    """Pairs that share nothing: a track and a file made of others, and two tracks."""
    pairs = 0
    false = []
    for file in made:
        own = {expected.track for expected in file.expected} | {file.other}
        for track in tracks:
            if track in own:
                continue
            pairs += 1
            false += [(file.path, track, part) for part in parts.get((file.path, track), [])]
    for i, first in enumerate(tracks):
        for second in tracks[i + 1:]:
            pairs += 1
            false += [(first, second, part) for part in parts.get((first, second), [])]
    print(f"Parts found in {pairs} pairs of files that share nothing: {len(false)}"
          + (f" (with 95 % certainty fewer than {3.0 / pairs:.1e} of such pairs)"
             if not false else ""))
    for first, second, (begin, other, seconds, similarity) in false[:40]:
        print(f"    {first.name} at {begin:.1f} s and {second.name} at {other:.1f} s, "
              f"for {seconds:.1f} s, {similarity} %")
    print()


def print_signals(search, folder):
    """Prints the parts found where there are none to find."""
    place = folder / "signals"
    place.mkdir()
    make_all(plan_signals(place))
    parts = search([place], ["--store", folder / "store.db", "--parts",
                             "--min-length", "8"])["parts"]
    print(f"Parts of 8 s found in {SIGNALS} files of silence, tones and noise: {len(parts)}")
    for part in parts[:40]:
        print(f"    {pathlib.Path(part['first']).name} and {pathlib.Path(part['second']).name}, "
              f"for {part['lengthMs'] / 1000.0} s, {part['similarity']} %")


def measure(tracks, seconds_of, search, folder, mixes):
    """Makes everything in folder and prints the tables; search(folders, options) gives JSON."""
    lengths = {track: seconds_of(track) for track in tracks}
    place = folder / "made"
    place.mkdir(parents=True)
    made = make_all(plan(tracks, lengths, mixes, place))
    originals = folder / "tracks"
    originals.mkdir()
    for track in tracks:
        (originals / track.name).symlink_to(track)
    store = ["--store", folder / "store.db", "--parts"]
    named = {originals / track.name: track for track in tracks}

    def found(least):
        result = search([originals, place], [*store, "--min-length", str(least)])
        for failure in result["failures"]:
            print(f"not read: {failure['path']}: {failure['reason']}", file=sys.stderr)
        counted = result["counts"]
        print(f"{counted['files']} files, parts of {least} s: {counted['parts']}; words left out: "
              f"{counted['commonWords']} in {counted['commonPlaces']} places\n")
        parts = parts_of(result)
        return {(named.get(first, first), named.get(second, second)): value
                for (first, second), value in parts.items()}

    parts = found(20)
    plain = [file for file in made if is_plain(file)]
    print_found(plain, parts, length_class, "All stretches")
    print_found(plain, parts, lambda file, expected: file.row if expected.seconds >= 19.9 else None,
                "File")
    print_found([file for file in made if not is_plain(file)], parts,
                lambda file, expected: file.row, "Not expected to be found")
    print_false(tracks, made, parts)
    short = found(8)
    print_found([file for file in plain if file.row.startswith("cut")], short,
                lambda file, expected: file.row, "Parts of 8 s and more")
    print_false(tracks, made, short)
    (folder / "expected.json").write_text(json.dumps(
        [dataclasses.asdict(file) for file in made], default=str, indent=1), encoding="utf-8")
    print_signals(search, folder)
