/* PictureSource.h: picture files as a stream of frames.
 *
 * Thread: made on one thread; GStreamer's streaming thread asks for frames.
 * Owns:   nothing that lasts; the element belongs to its pipeline, and must go before this.
 * Errors: a file that cannot be read stops the pipeline with an error that names it.
 */
#pragma once

#include <gst/gst.h>

#include <string>
#include <vector>

namespace tarvo {

class PictureSource {
public:
    PictureSource(const std::vector<std::string>& paths, double rate) : paths_(paths), rate_(rate) {}
    PictureSource(const PictureSource&) = delete;
    PictureSource& operator=(const PictureSource&) = delete;

    /** An element with a source pad of decoded pictures; null if their kind is unknown or has no decoder. */
    GstElement* makeElement();
    double seconds() const { return static_cast<double>(paths_.size()) / rate_; }

private:
    static void onNeedData(GstElement* source, guint size, PictureSource* pictures);
    void pushNext(GstElement* source);

    const std::vector<std::string>& paths_;
    const double rate_;
    size_t next_ = 0;
};

/** A rate as a fraction; the television rates that are thousandths of 1001 are told by their decimals. */
void rateFraction(double rate, int& numerator, int& denominator);

}  // namespace tarvo
