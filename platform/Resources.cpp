#include "platform/Resources.h"

#include <glib.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>

#include "platform/Nibs.h"

namespace {

bool isNib(IBNibRef nib) {
    const auto& nibs = compiledNibs();
    return std::any_of(nibs.begin(), nibs.end(), [nib](const OpaqueNib& each) { return &each == nib; });
}

/** What a pass over the XML has found of one object: its class, and the texts of its own properties. */
struct Search {
    const char* name;
    std::string className;
    std::string title;
    int depth = 0;
    int foundAt = 0;
    bool isInTitle = false;
};

const char* attribute(const char* wanted, const gchar** names, const gchar** values) {
    for (; *names != nullptr; ++names, ++values) {
        if (std::strcmp(*names, wanted) == 0) {
            return *values;
        }
    }
    return nullptr;
}

bool isText(const char* value, const char* wanted) {
    return value != nullptr && std::strcmp(value, wanted) == 0;
}

void startElement(GMarkupParseContext*, const gchar* element, const gchar** names, const gchar** values,
                  gpointer data, GError**) {
    auto& search = *static_cast<Search*>(data);
    ++search.depth;
    if (std::strcmp(element, "object") == 0 && search.foundAt == 0 &&
        isText(attribute("id", names, values), search.name)) {
        const char* const className = attribute("class", names, values);
        search.foundAt = search.depth;
        search.className = className == nullptr ? "" : className;
    }
    search.isInTitle = search.foundAt > 0 && search.depth == search.foundAt + 1 &&
                       std::strcmp(element, "property") == 0 &&
                       isText(attribute("name", names, values), "title");
}

void endElement(GMarkupParseContext*, const gchar*, gpointer data, GError**) {
    auto& search = *static_cast<Search*>(data);
    if (search.depth == search.foundAt) {
        search.foundAt = -1;  // seen whole; a second object of that id does not count
    }
    --search.depth;
    search.isInTitle = false;
}

void text(GMarkupParseContext*, const gchar* characters, gsize length, gpointer data, GError**) {
    auto& search = *static_cast<Search*>(data);
    if (search.isInTitle) {
        search.title.append(characters, length);
    }
}

struct ParserFree {
    void operator()(GMarkupParseContext* parser) const { g_markup_parse_context_free(parser); }
};

bool parse(const char* xml, Search* search) {
    const GMarkupParser functions = {startElement, endElement, text, nullptr, nullptr};
    const std::unique_ptr<GMarkupParseContext, ParserFree> parser(
        g_markup_parse_context_new(&functions, GMarkupParseFlags{}, search, nullptr));
    return g_markup_parse_context_parse(parser.get(), xml, static_cast<gssize>(std::strlen(xml)), nullptr) &&
           g_markup_parse_context_end_parse(parser.get(), nullptr);
}

}  // namespace

OSStatus CreateNibReference(const char* name, IBNibRef* out) {
    if (name == nullptr || out == nullptr) {
        return paramErr;
    }
    const auto& nibs = compiledNibs();
    const auto found = std::find_if(nibs.begin(), nibs.end(), [name](const OpaqueNib& each) {
        return std::strcmp(each.name, name) == 0;
    });
    if (found == nibs.end()) {
        return kIBCarbonRuntimeCantFindNibFile;
    }
    *out = &*found;
    return noErr;
}

void DisposeNibReference(IBNibRef /*nib*/) {}

const char* nibText(IBNibRef nib) {
    return isNib(nib) ? nib->text : nullptr;
}

OSStatus findNibWindow(IBNibRef nib, const char* name, NibWindow* out) {
    if (name == nullptr || out == nullptr || !isNib(nib)) {
        return paramErr;
    }
    try {
        Search search{.name = name, .className = {}, .title = {}};
        if (!parse(nib->text, &search) || search.foundAt == 0) {
            return kIBCarbonRuntimeCantFindObject;
        }
        if (search.className != "GtkWindow") {
            return kIBCarbonRuntimeObjectNotOfRequestedType;
        }
        out->title = std::move(search.title);
        return noErr;
    } catch (const std::bad_alloc&) {
        return memFullErr;
    }
}
