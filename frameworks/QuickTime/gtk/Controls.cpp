#include "frameworks/QuickTime/gtk/Controls.h"

namespace movies {
namespace {

constexpr int kRowSpacing = 6;
constexpr int kColumnSpacing = 12;
constexpr int kLabelWidth = 136;
constexpr const char* kNameKey = "tarvo-name";

std::string withoutKey(std::string text) {
    std::erase(text, '_');
    return text;
}

/** A screen reader stops at the button in a list, not at the list, and GTK 4.8 calls that by its type. */
void nameButtonOf(GtkDropDown* list, GParamSpec* /*property*/, gpointer /*nothing*/) {
    GtkWidget* const button = gtk_widget_get_first_child(GTK_WIDGET(list));
    gpointer const chosen = gtk_drop_down_get_selected_item(list);
    if (button == nullptr || !GTK_IS_STRING_OBJECT(chosen)) return;
    const auto* const name = static_cast<const char*>(g_object_get_data(G_OBJECT(list), kNameKey));
    nameControl(button, std::string(name) + ": " + gtk_string_object_get_string(GTK_STRING_OBJECT(chosen)));
}

void nameList(GtkDropDown* list, const std::string& name) {
    g_object_set_data_full(G_OBJECT(list), kNameKey, g_strdup(name.c_str()), g_free);
    g_signal_connect(list, "notify::selected-item", G_CALLBACK(nameButtonOf), nullptr);
    nameButtonOf(list, nullptr, nullptr);
}

}  // namespace

Rows::Rows() : grid_(GTK_GRID(gtk_grid_new())) {
    gtk_grid_set_row_spacing(grid_, kRowSpacing);
    gtk_grid_set_column_spacing(grid_, kColumnSpacing);
}

void Rows::add(const char* label, GtkWidget* control, GtkWidget* right) {
    GtkWidget* const text = gtk_label_new_with_mnemonic(label);
    gtk_label_set_mnemonic_widget(GTK_LABEL(text), control);
    gtk_label_set_xalign(GTK_LABEL(text), 0);
    gtk_accessible_update_relation(GTK_ACCESSIBLE(control), GTK_ACCESSIBLE_RELATION_LABELLED_BY, text,
                                   nullptr, -1);
    if (GTK_IS_DROP_DOWN(control)) nameList(GTK_DROP_DOWN(control), withoutKey(label));
    add(text, right);
}

void Rows::add(GtkWidget* left, GtkWidget* right) {
    gtk_widget_set_size_request(left, kLabelWidth, -1);  // the columns of all groups in one line
    gtk_widget_set_hexpand(right, TRUE);
    gtk_grid_attach(grid_, left, 0, count_, 1, 1);
    gtk_grid_attach(grid_, right, 1, count_, 1, 1);
    ++count_;
}

void nameControl(GtkWidget* control, const std::string& name) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(control), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   withoutKey(name).c_str(), -1);
}

GtkWidget* makeNumber(double least, double most, double step, double value) {
    GtkWidget* const number = gtk_spin_button_new_with_range(least, most, step);
    gtk_spin_button_set_numeric(GTK_SPIN_BUTTON(number), TRUE);
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(number), value);
    return number;
}

}  // namespace movies
