/* Summary.h: what the dialog says about a movie and about a choice: texts and estimates.
 *
 * Thread: any.
 * Units:  bytes, seconds.
 */
#pragma once

#include <string>

#include "frameworks/QuickTime/atoms/ExportChoice.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"

namespace movies {

struct PictureSize {
    uint32_t width = 0;
    uint32_t height = 0;
};

/** The size of the pictures that will come out. */
PictureSize pictureSize(const atoms::ExportChoice& choice, const MovieFacts& movie);
/** Of the movie that will come out; a guess from experience unless data rates are given. */
double estimateBytes(const atoms::ExportChoice& choice, const MovieFacts& movie, const Formats& formats,
                     double seconds);

std::string durationText(double seconds);     // "1:02:03", "0:04"
std::string bytesText(double bytes);          // "12.3 MB"
std::string decimalText(double value);        // "29.97", "25": no zeros at the end
std::string sizeText(PictureSize size);       // "1920 × 1080"
std::string channelsText(uint32_t channels);  // "stereo"

/** The movie's facts, a line for its pictures and one for its sound. */
std::string movieText(const MovieFacts& movie);
/** What will come out, in one line; or why nothing can. */
std::string choiceText(const atoms::ExportChoice& choice, const MovieFacts& movie, const Formats& formats,
                       double seconds);

}  // namespace movies
