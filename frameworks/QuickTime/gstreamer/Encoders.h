/* Encoders.h: which codecs can be encoded into a QuickTime movie here, and the elements that do it.
 *
 * Thread: any, after startGst().
 * Owns:   a chain that is made belongs to the bin it is put into.
 * Errors: a null element when a codec cannot be encoded here.
 */
#pragma once

#include <gst/gst.h>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

namespace movies {

constexpr const char* kMuxer = "qtmux";

/** Only what works: each one's elements have been made once. */
Formats listFormats();

/** The format of that codec, or null. */
const VideoFormat* findVideo(const Formats& formats, uint32_t codec);
const SoundFormat* findSound(const Formats& formats, uint32_t codec);

/** A bin from raw to encoded video, set up by the choice, with a sink and a source pad of those names. */
GstElement* makeVideoEncoder(const atoms::ExportChoice& choice);
GstElement* makeSoundEncoder(const atoms::ExportChoice& choice);

}  // namespace movies
