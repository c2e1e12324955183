// What the lab hears of the modules, and they of the lab.
#include "lab/State.h"
#include "frameworks/MAID/simulated/Module.h"

namespace maid {

namespace {

/** The modules' end of all cables. */
class Ear final : public lab::nikon::Listener {
public:
    bool raised(const lab::nikon::Body& body, lab::nikon::Link link,
                const lab::nikon::Event& event) override {
        return Registry::instance().post(body, link, event);
    }
};

class Teller final : public lab::StateSource {
public:
    std::string_view library() const override { return "MAID"; }

    void writeLibrary(lab::JsonText& out) override {
        writeCounts(out, Registry::instance().counts({}), true);
        out.key("misuse").unsignedNumber(Registry::instance().misuses());
        out.key("unfinishedCommands").unsignedNumber(Module::unfinished());
        out.key("waitingEvents").unsignedNumber(Registry::instance().waitingEvents());
    }

    void writeDevice(std::string_view device, lab::JsonText& out) override {
        const Counts counts = Registry::instance().counts(device);
        if (counts.open == Counts{}.open) return;
        writeCounts(out, counts, false);
    }

private:
    static uint64_t count(const Counts& counts, Kind kind) { return counts.open[static_cast<size_t>(kind)]; }

    static void writeCounts(lab::JsonText& out, const Counts& counts, bool withModules) {
        out.key("objects").beginObject();
        if (withModules) out.key("module").unsignedNumber(count(counts, Kind::module));
        out.key("source").unsignedNumber(count(counts, Kind::source));
        out.key("item").unsignedNumber(count(counts, Kind::item));
        out.key("data").unsignedNumber(count(counts, Kind::data));
        out.endObject();
    }
};

/** The library is loaded with the first bundle and stays: the lab knows its two ends by address. */
__attribute__((constructor)) void introduce() {
    static auto* teller = new Teller;
    static auto* ear = new Ear;
    lab::addStateSource(teller);
    lab::nikon::Body::setListener(ear);
}

}  // namespace

}  // namespace maid
