#include "frameworks/QuickTime/gtk/DialogCompanion.h"

#include "platform/Companion.h"

namespace movies {
namespace {

/// GTK's start takes a fraction of a second; a display server that hangs keeps it for ever.
constexpr double kPatienceSeconds = 15;
constexpr double kForever = -1;

}  // namespace

/** What has been said so far. */
struct DialogCompanion::Talk {
    bool hear(MessageReader& message);
    bool isExpected(DialogWord word) const;

    uint32_t lastWord = 0;
    bool isAsked = false;
    bool hasDisplay = false;
    atoms::ExportChoice choice;
    std::unique_ptr<Companion> companion;

    bool hasSaid(DialogWord word) const { return lastWord >= static_cast<uint32_t>(word); }
};

/** Each word once and in its turn; there are two last words. */
bool DialogCompanion::Talk::isExpected(DialogWord word) const {
    switch (word) {
        case DialogWord::ready:
            return lastWord == 0;
        case DialogWord::shown:
            return isAsked && lastWord == static_cast<uint32_t>(DialogWord::ready);
        case DialogWord::accepted:
        case DialogWord::cancelled:
            return lastWord == static_cast<uint32_t>(DialogWord::shown);
        default:
            return false;
    }
}

bool DialogCompanion::Talk::hear(MessageReader& message) {
    uint32_t number = 0;
    if (!message.readKind(number) || !isExpected(static_cast<DialogWord>(number))) return false;
    const auto word = static_cast<DialogWord>(number);
    const bool makesSense = word == DialogWord::ready      ? message(hasDisplay) && message.isAtEnd()
                            : word == DialogWord::accepted ? readAccepted(message, choice)
                                                           : message.isAtEnd();
    if (makesSense) lastWord = number;
    return makesSense;
}

DialogCompanion::DialogCompanion() : talk_(std::make_unique<Talk>()) {
    Talk* const talk = talk_.get();
    const std::string program = fileBeside(reinterpret_cast<const void*>(&write), "TarvoExportDialog");
    talk->companion = std::make_unique<Companion>(
        program, Companion::Listener{[talk](MessageReader& message) { return talk->hear(message); }, [] {}});
}

DialogCompanion::~DialogCompanion() = default;

OSErr DialogCompanion::open() {
    const bool isReady =
        talk_->companion->serveUntil([this] { return talk_->hasSaid(DialogWord::ready); }, kPatienceSeconds);
    return isReady && talk_->hasDisplay ? OSErr{0} : kQTNoWindowSystem;
}

OSErr DialogCompanion::run(const ExportDialogRequest& request, std::optional<atoms::ExportChoice>& out) {
    talk_->isAsked = true;
    const auto hasSaid = [this](DialogWord word) { return [this, word] { return talk_->hasSaid(word); }; };
    Companion& companion = *talk_->companion;
    const bool isClosed = companion.send(write(request)) &&
                          companion.serveUntil(hasSaid(DialogWord::shown), kPatienceSeconds) &&
                          companion.serveUntil(hasSaid(DialogWord::accepted), kForever);
    if (!isClosed) return kQTNoWindowSystem;
    out.reset();
    if (talk_->lastWord == static_cast<uint32_t>(DialogWord::accepted)) out = talk_->choice;
    return 0;
}

}  // namespace movies
