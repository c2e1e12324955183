/* Controls.h: rows of a settings dialog: a label with its key, the control that it names, for hands and for
 * screen readers alike.
 *
 * Thread: main thread.
 * Owns:   widgets belong to the grid that they are put into.
 */
#pragma once

#include <gtk/gtk.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace movies {

/** A grid of rows: labels on the left, controls on the right. */
class Rows {
public:
    Rows();
    GtkWidget* widget() const { return GTK_WIDGET(grid_); }
    /** `label` has its key behind an underscore. */
    void add(const char* label, GtkWidget* control) { add(label, control, control); }
    /** The label names one control of several that stand on the right. */
    void add(const char* label, GtkWidget* control, GtkWidget* right);
    /** A row whose left side is a control, too, which says what it does by itself. */
    void add(GtkWidget* left, GtkWidget* right);

private:
    GtkGrid* grid_;
    int count_ = 0;
};

/** Names a control for screen readers; labels that are added by Rows do so by themselves. An underscore
 * before the control's key is left out. */
void nameControl(GtkWidget* control, const std::string& name);

GtkWidget* makeNumber(double least, double most, double step, double value);

/** A list to choose one value from. A preset that is not in it joins it. */
template <class Value>
class Chooser {
public:
    struct Entry {
        std::string text;
        Value value;
    };

    Chooser(std::vector<Entry> entries, const Value& preset, std::string presetText) {
        size_t chosen = 0;
        while (chosen < entries.size() && !isSame(entries[chosen].value, preset))
            ++chosen;
        if (chosen == entries.size()) entries.push_back({std::move(presetText), preset});
        entries_ = std::move(entries);
        GtkStringList* const texts = gtk_string_list_new(nullptr);
        for (const Entry& entry : entries_)
            gtk_string_list_append(texts, entry.text.c_str());
        dropDown_ = GTK_DROP_DOWN(gtk_drop_down_new(G_LIST_MODEL(texts), nullptr));
        gtk_drop_down_set_selected(dropDown_, static_cast<guint>(chosen));
    }

    GtkWidget* widget() const { return GTK_WIDGET(dropDown_); }
    const Value& value() const {
        const guint selected = gtk_drop_down_get_selected(dropDown_);
        return entries_[selected < entries_.size() ? selected : 0].value;
    }

private:
    template <class Any>
    static bool isSame(const Any& one, const Any& other) {
        return one == other;
    }
    /** Rates that a file keeps to 1/65536. */
    static bool isSame(double one, double other) { return std::abs(one - other) < 0.001; }

    std::vector<Entry> entries_;
    GtkDropDown* dropDown_;
};

}  // namespace movies
