/* SettingsPane.h: the controls of the export settings, from a preset to what the user chose.
 *
 * Thread: main thread.
 * Owns:   its widgets belong to the window that they are put into; the pane must live as long.
 */
#pragma once

#include <functional>
#include <optional>

#include "frameworks/QuickTime/gtk/Controls.h"
#include "frameworks/QuickTime/gtk/DialogMessages.h"
#include "frameworks/QuickTime/gtk/Summary.h"

namespace movies {

class SettingsPane {
public:
    /** The request must live as long as the pane. `onChange` is called after every change of a control. */
    SettingsPane(const ExportDialogRequest& request, std::function<void()> onChange);
    SettingsPane(const SettingsPane&) = delete;
    SettingsPane& operator=(const SettingsPane&) = delete;

    GtkWidget* widget() const { return box_; }
    /** What the controls say. What they do not show stays as it was preset. */
    atoms::ExportChoice choice() const;
    /** Takes over what is typed into a number and not yet left. */
    void finishTyping() const;
    bool hasOpenList() const;

private:
    GtkWidget* makeVideo();
    GtkWidget* makeSound();
    void addSize(Rows& rows);
    void addQuality(Rows& rows);
    void watch(GtkWidget* widget, const char* signal);
    void settle();
    const VideoFormat* videoFormat() const;
    const SoundFormat* soundFormat() const;

    static void onChanged(GtkWidget* widget, SettingsPane* pane);
    static void onNotified(GtkWidget* widget, GParamSpec* property, SettingsPane* pane);

    const Formats& formats_;
    const MovieFacts& movie_;
    const atoms::ExportChoice preset_;
    std::function<void()> onChange_;

    GtkWidget* box_ = nullptr;
    GtkWidget* hasVideo_ = nullptr;
    GtkWidget* videoRows_ = nullptr;
    std::optional<Chooser<uint32_t>> videoCodec_;
    std::optional<Chooser<std::pair<uint32_t, uint32_t>>> size_;
    GtkWidget* width_ = nullptr;
    GtkWidget* height_ = nullptr;
    GtkWidget* ownSize_ = nullptr;
    std::optional<Chooser<double>> frameRate_;
    GtkWidget* byQuality_ = nullptr;
    GtkWidget* quality_ = nullptr;
    GtkWidget* byDataRate_ = nullptr;
    GtkWidget* dataRate_ = nullptr;
    GtkWidget* keyFrames_ = nullptr;
    GtkWidget* hasSound_ = nullptr;
    GtkWidget* soundRows_ = nullptr;
    std::optional<Chooser<uint32_t>> soundCodec_;
    std::optional<Chooser<double>> sampleRate_;
    std::optional<Chooser<uint32_t>> channels_;
    std::optional<Chooser<uint32_t>> soundDataRate_;
    GtkWidget* streaming_ = nullptr;
};

}  // namespace movies
