/* ExportPipeline.h: a movie, or pictures, through decoders and encoders into a QuickTime movie.
 *
 * Thread: one thread; GStreamer's own do the work.
 * Owns:   the pipeline. Files belong to the caller.
 * Errors: ExportJob.h.
 */
#pragma once

#include <gst/gst.h>

#include <atomic>
#include <string>

#include "frameworks/QuickTime/gstreamer/Gst.h"
#include "frameworks/QuickTime/gstreamer/MovieFacts.h"
#include "host/export/ExportJob.h"
#include "host/export/PictureSource.h"

namespace tarvo {

class ExportPipeline {
public:
    ExportPipeline(const ExportJob& job, const std::string& target);
    ~ExportPipeline();
    ExportPipeline(const ExportPipeline&) = delete;
    ExportPipeline& operator=(const ExportPipeline&) = delete;

    /** Looks at the source and puts the elements together. */
    ExportResult prepare(std::string& problem);
    /** Until all is written, something fails, or the caller has enough. */
    ExportResult run(const ExportWatch& watch, std::string& problem);

private:
    ExportResult examineSource(std::string& problem);
    ExportResult addMuxer(std::string& problem);
    ExportResult addVideo(std::string& problem);
    ExportResult addSound(std::string& problem);
    ExportResult addSource(std::string& problem);
    /** Puts a branch into the pipeline, its end into the muxer. */
    bool addBranch(GstElement* branch, const char* muxerPad, GstElement** kept);
    std::string videoFilter() const;
    std::string soundFilter() const;
    int percent() const;

    static void onPadAdded(GstElement* source, GstPad* pad, ExportPipeline* pipeline);
    static GstPadProbeReturn onBuffer(GstPad* pad, GstPadProbeInfo* info, ExportPipeline* pipeline);

    const ExportJob& job_;
    const std::string target_;
    movies::MovieFacts facts_;
    movies::Held<GstElement> pipeline_;
    GstElement* muxer_ = nullptr;
    GstElement* video_ = nullptr;  // the branches; null: none
    GstElement* sound_ = nullptr;
    PictureSource pictures_;
    std::atomic<int64_t> position_{0};  // nanoseconds of the movie that went into the branches
};

}  // namespace tarvo
