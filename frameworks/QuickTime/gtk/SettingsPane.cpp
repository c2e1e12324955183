#include "frameworks/QuickTime/gtk/SettingsPane.h"

#include <algorithm>
#include <string_view>

namespace movies {
namespace {

using atoms::ExportChoice;
using Size = std::pair<uint32_t, uint32_t>;

/// Bytes a second in a kilobit a second.
constexpr double kKilobit = 125;
constexpr double kUsualDataRate = 8000;
constexpr double kHighestDataRate = 1'000'000;
constexpr uint32_t kLeastSide = 16;
constexpr int kSpacing = 6;
constexpr int kIndent = 24;
/// The text at the end of the scale hangs over.
constexpr int kScaleMargin = 14;
/// In the list of sizes: the numbers beside it count.
constexpr Size kOwnSize{1, 1};

bool isOn(GtkWidget* button) {
    return gtk_check_button_get_active(GTK_CHECK_BUTTON(button)) != FALSE;
}

uint32_t numberIn(GtkWidget* number) {
    return static_cast<uint32_t>(gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(number)));
}

GtkWidget* makeSwitch(const char* label, bool isActive) {
    GtkWidget* const button = gtk_check_button_new_with_mnemonic(label);
    gtk_check_button_set_active(GTK_CHECK_BUTTON(button), isActive);
    nameControl(button, label);  // GTK 4.8 tells the underscore, too
    return button;
}

/** A group: its switch, and below it what the switch is about. */
GtkWidget* makeGroup(GtkWidget* header, GtkWidget* rows) {
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing);
    gtk_widget_set_margin_start(rows, kIndent);
    gtk_box_append(GTK_BOX(box), header);
    gtk_box_append(GTK_BOX(box), rows);
    return box;
}

std::string likeMovie(const std::string& value) {
    return value.empty() ? "As in the movie" : "As in the movie (" + value + ")";
}

Chooser<double> frameRates(const ExportChoice& choice, const MovieFacts& movie) {
    std::vector<Chooser<double>::Entry> entries{
        {likeMovie(movie.frameRate > 0 ? decimalText(movie.frameRate) : ""), 0}};
    for (const double rate : {10.0, 12.0, 15.0, 24000 / 1001.0, 24.0, 25.0, 30000 / 1001.0, 30.0, 50.0, 60.0})
        entries.push_back({decimalText(rate), rate});
    return {entries, choice.frameRate, decimalText(choice.frameRate)};
}

Chooser<Size> sizes(const ExportChoice& choice, const MovieFacts& movie) {
    std::vector<Chooser<Size>::Entry> entries{
        {likeMovie(movie.hasVideo ? sizeText({movie.width, movie.height}) : ""), Size{0, 0}}};
    for (const Size& size : {Size{3840, 2160}, Size{1920, 1080}, Size{1280, 720}, Size{640, 480}})
        entries.push_back({sizeText({size.first, size.second}), size});
    entries.push_back({"Other", kOwnSize});
    Size preset{choice.width, choice.height};
    const bool isListed =
        std::any_of(entries.begin(), entries.end(), [&](const auto& entry) { return entry.value == preset; });
    if (!isListed) preset = kOwnSize;
    return {entries, preset, ""};
}

Chooser<double> sampleRates(const ExportChoice& choice, const MovieFacts& movie) {
    const auto inKilohertz = [](double rate) { return decimalText(rate / 1000) + " kHz"; };
    std::vector<Chooser<double>::Entry> entries{
        {likeMovie(movie.sampleRate > 0 ? inKilohertz(movie.sampleRate) : ""), 0}};
    for (const double rate : {22050.0, 32000.0, 44100.0, 48000.0})
        entries.push_back({inKilohertz(rate), rate});
    return {entries, choice.sampleRate, inKilohertz(choice.sampleRate)};
}

Chooser<uint32_t> channelCounts(const ExportChoice& choice, const MovieFacts& movie) {
    return {{{likeMovie(channelsText(movie.channels)), 0}, {"Mono", 1}, {"Stereo", 2}},
            choice.channels,
            channelsText(choice.channels)};
}

Chooser<uint32_t> soundDataRates(const ExportChoice& choice) {
    const auto inKilobits = [](uint32_t rate) { return std::to_string(rate / 1000) + " kbit/s"; };
    std::vector<Chooser<uint32_t>::Entry> entries{{"Usual (" + inKilobits(kUsualSoundDataRate) + ")", 0}};
    for (const uint32_t rate : {64'000u, 96'000u, 128'000u, 160'000u, 192'000u, 256'000u, 320'000u})
        entries.push_back({inKilobits(rate), rate});
    return {entries, choice.soundDataRate, inKilobits(choice.soundDataRate)};
}

template <class Format>
Chooser<uint32_t> codecs(const std::vector<Format>& formats, uint32_t preset) {
    std::vector<Chooser<uint32_t>::Entry> entries;
    for (const Format& format : formats)
        entries.push_back({format.name, format.codec});
    return {entries, preset, atoms::typeText(preset)};
}

}  // namespace

SettingsPane::SettingsPane(const ExportDialogRequest& request, std::function<void()> onChange)
    : formats_(request.formats),
      movie_(request.movie),
      preset_(request.choice),
      onChange_(std::move(onChange)) {
    box_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 3 * kSpacing);
    gtk_box_append(GTK_BOX(box_), makeVideo());
    gtk_box_append(GTK_BOX(box_), makeSound());
    streaming_ = makeSwitch("_Prepare for streaming", preset_.preparesForStreaming);
    gtk_widget_set_tooltip_text(streaming_, "The movie can be played while it is still being transferred");
    watch(streaming_, "toggled");
    gtk_box_append(GTK_BOX(box_), streaming_);
    settle();
}

GtkWidget* SettingsPane::makeVideo() {
    hasVideo_ = makeSwitch("P_icture", preset_.hasVideo);
    watch(hasVideo_, "toggled");
    Rows rows;
    videoCodec_.emplace(codecs(formats_.video, preset_.videoCodec));
    watch(videoCodec_->widget(), "notify::selected");
    rows.add("_Codec", videoCodec_->widget());
    addSize(rows);
    frameRate_.emplace(frameRates(preset_, movie_));
    watch(frameRate_->widget(), "notify::selected");
    rows.add("_Frames a second", frameRate_->widget());
    addQuality(rows);
    keyFrames_ = makeNumber(0, atoms::kLongestKeyFrameInterval, 1, preset_.keyFrameInterval);
    watch(keyFrames_, "value-changed");
    GtkWidget* const frames = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    gtk_box_append(GTK_BOX(frames), keyFrames_);
    gtk_box_append(GTK_BOX(frames), gtk_label_new("frames (0: the codec decides)"));
    rows.add("_Key frame every", keyFrames_, frames);
    videoRows_ = rows.widget();
    return makeGroup(hasVideo_, videoRows_);
}

void SettingsPane::addSize(Rows& rows) {
    size_.emplace(sizes(preset_, movie_));
    watch(size_->widget(), "notify::selected");
    const PictureSize preset = pictureSize(preset_, movie_);
    width_ = makeNumber(kLeastSide, atoms::kLargestSide, 2, preset.width);
    height_ = makeNumber(kLeastSide, atoms::kLargestSide, 2, preset.height);
    nameControl(width_, "Width in pixels");
    nameControl(height_, "Height in pixels");
    watch(width_, "value-changed");
    watch(height_, "value-changed");
    ownSize_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    gtk_box_append(GTK_BOX(ownSize_), width_);
    gtk_box_append(GTK_BOX(ownSize_), gtk_label_new("\u00D7"));
    gtk_box_append(GTK_BOX(ownSize_), height_);
    // In one row: an empty one would leave a gap.
    GtkWidget* const both = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing);
    gtk_box_append(GTK_BOX(both), size_->widget());
    gtk_box_append(GTK_BOX(both), ownSize_);
    rows.add("Si_ze", size_->widget(), both);
}

void SettingsPane::addQuality(Rows& rows) {
    byQuality_ = makeSwitch("_Quality", preset_.dataRate == 0);
    byDataRate_ = makeSwitch("_Data rate, kbit/s", preset_.dataRate > 0);
    gtk_check_button_set_group(GTK_CHECK_BUTTON(byDataRate_), GTK_CHECK_BUTTON(byQuality_));
    watch(byQuality_, "toggled");
    watch(byDataRate_, "toggled");
    quality_ = gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, atoms::kLeastQuality,
                                        atoms::kLosslessQuality, atoms::kLowQuality / 4.0);
    nameControl(quality_, "Quality");
    gtk_range_set_value(GTK_RANGE(quality_), preset_.quality);
    gtk_scale_add_mark(GTK_SCALE(quality_), atoms::kLeastQuality, GTK_POS_BOTTOM, "Least");
    gtk_scale_add_mark(GTK_SCALE(quality_), atoms::kNormalQuality, GTK_POS_BOTTOM, "Normal");
    gtk_scale_add_mark(GTK_SCALE(quality_), atoms::kLosslessQuality, GTK_POS_BOTTOM, "Lossless");
    gtk_widget_set_margin_end(quality_, kScaleMargin);
    watch(quality_, "value-changed");
    dataRate_ = makeNumber(1, kHighestDataRate, 100,
                           preset_.dataRate > 0 ? preset_.dataRate / kKilobit : kUsualDataRate);
    nameControl(dataRate_, "Data rate in kilobits a second");
    watch(dataRate_, "value-changed");
    rows.add(byQuality_, quality_);
    rows.add(byDataRate_, dataRate_);
}

GtkWidget* SettingsPane::makeSound() {
    hasSound_ = makeSwitch("_Sound", preset_.hasSound);
    watch(hasSound_, "toggled");
    Rows rows;
    soundCodec_.emplace(codecs(formats_.sound, preset_.soundCodec));
    sampleRate_.emplace(sampleRates(preset_, movie_));
    channels_.emplace(channelCounts(preset_, movie_));
    soundDataRate_.emplace(soundDataRates(preset_));
    rows.add("F_ormat", soundCodec_->widget());
    rows.add("Sample _rate", sampleRate_->widget());
    rows.add("C_hannels", channels_->widget());
    rows.add("_Bit rate", soundDataRate_->widget());
    for (GtkWidget* const each :
         {soundCodec_->widget(), sampleRate_->widget(), channels_->widget(), soundDataRate_->widget()})
        watch(each, "notify::selected");
    soundRows_ = rows.widget();
    return makeGroup(hasSound_, soundRows_);
}

void SettingsPane::onChanged(GtkWidget* widget, SettingsPane* pane) {
    pane->settle();
    // Whoever chooses a data rate says next which one.
    if (widget == pane->byDataRate_ && isOn(widget)) gtk_widget_grab_focus(pane->dataRate_);
    pane->onChange_();
}

void SettingsPane::onNotified(GtkWidget* widget, GParamSpec* /*property*/, SettingsPane* pane) {
    onChanged(widget, pane);
}

void SettingsPane::watch(GtkWidget* widget, const char* signal) {
    const bool isNotification = std::string_view(signal).starts_with("notify::");
    g_signal_connect(widget, signal, isNotification ? G_CALLBACK(onNotified) : G_CALLBACK(onChanged), this);
}

const VideoFormat* SettingsPane::videoFormat() const {
    for (const VideoFormat& format : formats_.video) {
        if (format.codec == videoCodec_->value()) return &format;
    }
    return nullptr;
}

const SoundFormat* SettingsPane::soundFormat() const {
    for (const SoundFormat& format : formats_.sound) {
        if (format.codec == soundCodec_->value()) return &format;
    }
    return nullptr;
}

/** Only what has an effect can be changed. */
void SettingsPane::settle() {
    if (streaming_ == nullptr) return;  // still being built
    const VideoFormat* const video = videoFormat();
    const SoundFormat* const sound = soundFormat();
    gtk_widget_set_sensitive(hasVideo_, movie_.hasVideo && video != nullptr);
    gtk_widget_set_sensitive(videoRows_, movie_.hasVideo && video != nullptr && isOn(hasVideo_));
    gtk_widget_set_sensitive(hasSound_, movie_.hasSound && sound != nullptr);
    gtk_widget_set_sensitive(soundRows_, movie_.hasSound && sound != nullptr && isOn(hasSound_));
    gtk_widget_set_visible(ownSize_, size_->value() == kOwnSize);
    const bool hasDataRate = video != nullptr && video->hasDataRate;
    const bool usesDataRate = hasDataRate && isOn(byDataRate_);
    gtk_widget_set_sensitive(byDataRate_, hasDataRate);
    gtk_widget_set_sensitive(dataRate_, usesDataRate);
    gtk_widget_set_sensitive(byQuality_, video != nullptr && video->hasQuality);
    gtk_widget_set_sensitive(quality_, video != nullptr && video->hasQuality && !usesDataRate);
    gtk_widget_set_sensitive(keyFrames_, video != nullptr && video->hasKeyFrames);
    gtk_widget_set_sensitive(soundDataRate_->widget(), sound != nullptr && sound->hasDataRate);
}

bool SettingsPane::hasOpenList() const {
    for (GtkWidget* const dropDown :
         {videoCodec_->widget(), size_->widget(), frameRate_->widget(), soundCodec_->widget(),
          sampleRate_->widget(), channels_->widget(), soundDataRate_->widget()}) {
        for (GtkWidget* part = gtk_widget_get_first_child(dropDown); part != nullptr;
             part = gtk_widget_get_next_sibling(part)) {
            if (GTK_IS_POPOVER(part) && gtk_widget_get_visible(part)) return true;
        }
    }
    return false;
}

ExportChoice SettingsPane::choice() const {
    ExportChoice choice = preset_;
    choice.hasVideo = isOn(hasVideo_);
    choice.videoCodec = videoCodec_->value();
    const Size size = size_->value() == kOwnSize ? Size{numberIn(width_), numberIn(height_)} : size_->value();
    choice.width = size.first;
    choice.height = size.second;
    choice.frameRate = frameRate_->value();
    choice.quality = static_cast<uint32_t>(std::lround(gtk_range_get_value(GTK_RANGE(quality_))));
    const double dataRate = gtk_spin_button_get_value(GTK_SPIN_BUTTON(dataRate_));
    choice.dataRate = isOn(byDataRate_) ? static_cast<uint32_t>(std::lround(dataRate * kKilobit)) : 0;
    choice.keyFrameInterval = numberIn(keyFrames_);
    choice.hasSound = isOn(hasSound_);
    choice.soundCodec = soundCodec_->value();
    choice.sampleRate = sampleRate_->value();
    choice.channels = channels_->value();
    choice.soundDataRate = soundDataRate_->value();
    choice.preparesForStreaming = isOn(streaming_);
    return choice;
}

void SettingsPane::finishTyping() const {
    for (GtkWidget* const number : {width_, height_, dataRate_, keyFrames_})
        gtk_spin_button_update(GTK_SPIN_BUTTON(number));
}

}  // namespace movies
