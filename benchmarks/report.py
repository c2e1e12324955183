"""Prints the machine and the figures of a benchmark run, as a Markdown table: what, measured, baseline, ratio, target.

Usage: report.py RESULTS.json     (Google Benchmark's JSON with aggregates; medians are taken)
"""
import json
import sys


def load(path):
    with open(path, encoding="utf-8") as file:
        results = json.load(file)
    return results["context"], medians(results["benchmarks"])


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


def ratio_row(figures, name, what, target):
    measured, baseline = in_us(figures[name]), in_us(figures[name + "_baseline"])
    return what, time_text(measured), time_text(baseline), f"{measured / baseline:.2f}", target


def rows(figures):
    yield ratio_row(figures, "round_trip", "Round trip of the shortest call, against an echo", "≤ 1.5")
    yield ratio_row(figures, "byte_array_1MB", "Byte array of 1 MB, against raw sends", "≤ 1.3")
    yield ratio_row(figures, "int_array_8MB", "Int array of 8 MB, against raw sends", "≤ 1.3")
    yield ratio_row(figures, "download_25MB", "Download of 25 MB, against writing a file", "≤ 1.25")
    yield ratio_row(figures, "video_frame_1080p", "1080p frame over the socket, against a copy and a raw send", "≤ 1.3")
    yield ratio_row(figures, "average_of_32", "Average of 32 1080p frames, against FFmpeg's tmix", "< 1")
    yield ratio_row(figures, "yuyv_1080p", "YUYV 1080p to BGRA in the hardware set, a frame, against ffmpeg", "reported")
    yield ratio_row(figures, "mjpeg_1080p", "MJPEG 1080p to BGRA in the hardware set, a frame, against ffmpeg", "reported")
    yield ratio_row(figures, "nikon_live_view", "Nikon live-view frame of 200 KB, against the module, a copy and a raw send", "≤ 1.3")
    yield ratio_row(figures, "nikon_transfer_25MB", "NEF of 25 MB in 64 KB blocks, against writing the same buffer", "≤ 1.3")
    bound = in_us(figures["averaging_1080p_baseline"])
    measured = in_us(figures["averaging_1080p"])
    pixel = measured * 1e3 / (1920 * 1080)
    yield "Averaging a 1080p frame, share of the bus's bound", f"{measured / 1000:.2f} ms ({pixel:.2f} ns a pixel)", time_text(bound), f"{bound / measured:.2f}", "≥ 0.6"
    frames = 1e6 / in_us(figures["live_view"])
    yield "Live view, frames a second", f"{frames:.1f}", "100 (the prescribed pause)", f"{frames / 100:.2f}", "≥ 90"
    if "live_view_dialog" in figures:
        open_, none = (1e6 / in_us(figures[name]) for name in ("live_view_dialog", "live_view_dialog_baseline"))
        yield "Live view beside an open export dialog, against none", f"{open_:.1f} a second", f"{none:.1f} a second", f"{open_ / none:.2f}", "≥ 0.97"
    for name, what, target in (
        ("deadline_idle", "Deadline to shutter command, idle", "median ≤ 100 µs"),
        ("deadline_both_cores_busy", "Deadline to shutter command, both cores busy", "reported"),
        ("nikon_deadline_idle", "Deadline to Nikon shutter command, idle", "median ≤ 100 µs"),
        ("nikon_deadline_both_cores_busy", "Deadline to Nikon shutter command, both cores busy", "reported"),
    ):
        row = figures[name]
        yield what, f"median {row['p50_us']:.0f} µs, p99 {row['p99_us']:.0f} µs, max {row['max_us']:.0f} µs", "", "", target
    yield "Start to the port's line, hardware set", time_text(in_us(figures["start_to_port_hardware_set"])), "", "", "≤ 50 ms"
    yield "Start to the port's line, simulated set", time_text(in_us(figures["start_to_port_simulated_set"])), "", "", "≤ 50 ms"
    yield "Wake-ups in 10 s idle", f"{figures['idle_wakeups_in_10_s']['wakeups']:.0f}", "", "", "0"
    for name in ("hardware", "simulated"):
        row = figures[f"memory_{name}_set"]
        measured = f"{row['idle_KiB'] / 1024:.1f} MiB idle, {row['with_100_connections_KiB'] / 1024:.1f} MiB with 100 connections"
        yield f"Resident memory, {name} set", measured, "", "", "reported"
    callback, baseline = figures["callback"], figures["callback_baseline"]
    rate, base = callback["items_per_second"], baseline["items_per_second"]
    what = f"Callback messages a second, four senders ({callback['mixed']:.0f} mixed)"
    yield what, f"{rate:,.0f}", f"{base:,.0f}", f"{base / rate:.2f}", "none mixed"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    context, figures = load(sys.argv[1])
    print(machine(context) + "\n")
    print("| what | measured | baseline | ratio | target |\n|---|---|---|---|---|")
    for row in rows(figures):
        print("| " + " | ".join(row) + " |")


main()
