"""Prints the machine and the figures of a benchmark run, as a Markdown table: what, measured, baseline, ratio, target.

Usage: report.py RESULTS.json...     (Google Benchmark's JSON with aggregates; medians are taken)
"""
import json
import sys


def load(paths):
    """The machine is the first file's."""
    results = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            results.append(json.load(file))
    return results[0]["context"], medians(row for part in results for row in part["benchmarks"])


def medians(rows):
    figures = {}
    for row in rows:
        if row.get("aggregate_name") == "median":
            name = row["run_name"].split("/")[0].removeprefix("BM_")
            figures[name] = row
    return figures


def machine(context):
    cores = f"{context['num_cpus']} cores"
    return f"Machine: {context['processor']}, {cores}, {context['kernel']}; build type {context['build_type']}."


def in_us(row):
    return row["real_time"] * {"ns": 1e-3, "us": 1, "ms": 1e3, "s": 1e6}[row["time_unit"]]


def time_text(us):
    return f"{us:.1f} µs" if us < 1000 else f"{us / 1000:.2f} ms"


def ratio_row(name, what, target):
    def row(figures):
        measured, baseline = in_us(figures[name]), in_us(figures[name + "_baseline"])
        return what, time_text(measured), time_text(baseline), f"{measured / baseline:.2f}", target

    return (name, name + "_baseline"), row


def distances_row(name, what, target):
    def row(figures):
        figure = figures[name]
        text = f"median {figure['p50_us']:.0f} µs, p99 {figure['p99_us']:.0f} µs, max {figure['max_us']:.0f} µs"
        return what, text, "", "", target

    return (name,), row


def start_row(name, what, target):
    return (name,), lambda figures: (what, time_text(in_us(figures[name])), "", "", target)


def memory_row(name, what):
    def row(figures):
        figure = figures[name]
        text = f"{figure['idle_KiB'] / 1024:.1f} MiB idle, {figure['with_100_connections_KiB'] / 1024:.1f} MiB with 100 connections"
        return what, text, "", "", "reported"

    return (name,), row


def averaging(figures):
    bound = in_us(figures["averaging_1080p_baseline"])
    measured = in_us(figures["averaging_1080p"])
    text = f"{measured / 1000:.2f} ms ({measured * 1e3 / (1920 * 1080):.2f} ns a pixel)"
    return "Averaging a 1080p frame, share of the bus's bound", text, time_text(bound), f"{bound / measured:.2f}", "≥ 0.6"


def stream_share(figures):
    figure = figures["video_stream_share"]
    fetching, painting = figure["fetching_percent"], figure["painting_percent"]
    what = f"Share of a core for one 1080p30 stream ({figure['fetches_a_second']:.1f} fetches a second), without the lab's painting"
    return what, f"{fetching - painting:.1f} % ({fetching:.1f} % with it)", f"{painting:.1f} % (painting)", "", "reported"


def live_view(figures):
    frames = 1e6 / in_us(figures["live_view"])
    return "Live view, frames a second", f"{frames:.1f}", "100 (the prescribed pause)", f"{frames / 100:.2f}", "≥ 90"


def live_view_dialog(figures):
    beside, alone = (1e6 / in_us(figures[name]) for name in ("live_view_dialog", "live_view_dialog_baseline"))
    return "Live view beside an open export dialog, against none", f"{beside:.1f} a second", f"{alone:.1f} a second", f"{beside / alone:.2f}", "≥ 0.97"


def wakeups(figures):
    return "Wake-ups in 10 s idle", f"{figures['idle_wakeups_in_10_s']['wakeups']:.0f}", "", "", "0"


def callback(figures):
    measured, baseline = figures["callback"], figures["callback_baseline"]
    rate, base = measured["items_per_second"], baseline["items_per_second"]
    what = f"Callback messages a second, four senders ({measured['mixed']:.0f} mixed)"
    return what, f"{rate:,.0f}", f"{base:,.0f}", f"{base / rate:.2f}", "none mixed"


# Which figures a row needs, and how it is made of them.
ROWS = (
    ratio_row("round_trip", "Round trip of the shortest call, against an echo", "≤ 1.5"),
    ratio_row("byte_array_1MB", "Byte array of 1 MB, against raw sends", "≤ 1.3"),
    ratio_row("int_array_8MB", "Int array of 8 MB, against raw sends", "≤ 1.3"),
    ratio_row("download_25MB", "Download of 25 MB, against writing a file", "≤ 1.25"),
    ratio_row("video_frame_1080p", "1080p frame over the socket, against a copy and a raw send", "≤ 1.3"),
    distances_row("video_frame_age", "Age of a 1080p frame when the host has it, 30 a second", "reported"),
    (("video_stream_share",), stream_share),
    ratio_row("average_of_32", "Average of 32 1080p frames, against FFmpeg's tmix", "< 1"),
    ratio_row("yuyv_1080p", "YUYV 1080p to BGRA in the hardware set, a frame, against ffmpeg", "reported"),
    ratio_row("mjpeg_1080p", "MJPEG 1080p to BGRA in the hardware set, a frame, against ffmpeg", "reported"),
    ratio_row("nikon_live_view", "Nikon live-view frame of 200 KB, against the module, a copy and a raw send", "≤ 1.3"),
    ratio_row("nikon_transfer_25MB", "NEF of 25 MB in 64 KB blocks, against writing the same buffer", "≤ 1.3"),
    (("averaging_1080p", "averaging_1080p_baseline"), averaging),
    (("live_view",), live_view),
    (("live_view_dialog", "live_view_dialog_baseline"), live_view_dialog),
    distances_row("deadline_idle", "Deadline to shutter command, idle", "median ≤ 100 µs"),
    distances_row("deadline_both_cores_busy", "Deadline to shutter command, both cores busy", "reported"),
    distances_row("nikon_deadline_idle", "Deadline to Nikon shutter command, idle", "median ≤ 100 µs"),
    distances_row("nikon_deadline_both_cores_busy", "Deadline to Nikon shutter command, both cores busy", "reported"),
    start_row("start_to_port_hardware_set", "Start to the port's line, hardware set", "≤ 50 ms"),
    start_row("start_to_port_simulated_set", "Start to the port's line, simulated set", "≤ 50 ms"),
    (("idle_wakeups_in_10_s",), wakeups),
    memory_row("memory_hardware_set", "Resident memory, hardware set"),
    memory_row("memory_simulated_set", "Resident memory, simulated set"),
    (("callback", "callback_baseline"), callback),
)


def rows(figures):
    """Those whose figures were all measured: a run may have been filtered, and some need what not every machine has."""
    for needed, row in ROWS:
        if all(name in figures for name in needed):
            yield row(figures)


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    context, figures = load(sys.argv[1:])
    print(machine(context) + "\n")
    print("| what | measured | baseline | ratio | target |\n|---|---|---|---|---|")
    for row in rows(figures):
        print("| " + " | ".join(row) + " |")


main()
