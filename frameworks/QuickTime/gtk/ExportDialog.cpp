/* The program TarvoExportDialog: the dialog of the export settings. */
#include <cstdlib>
#include <memory>

#include "frameworks/QuickTime/gtk/DialogMessages.h"
#include "frameworks/QuickTime/gtk/SettingsPane.h"
#include "frameworks/QuickTime/gtk/Summary.h"
#include "frameworks/UserInterface/gtk/GtkDisplay.h"
#include "frameworks/UserInterface/gtk/Starter.h"
#include "frameworks/UserInterface/gtk/X11Windows.h"
#include "frameworks/UserInterface/gtk/placement.h"

namespace {

constexpr int kMargin = 18;
constexpr int kSpacing = 12;
constexpr int kWidth = 480;
constexpr int kWidestNameChars = 40;

using movies::DialogWord;
using movies::ExportDialogRequest;

enum class Outcome { none, accepted, cancelled };

class ExportDialog {
public:
    explicit ExportDialog(const ExportDialogRequest& request);
    ~ExportDialog();
    ExportDialog(const ExportDialog&) = delete;
    ExportDialog& operator=(const ExportDialog&) = delete;

    /** In the middle of the screen, where the window system lets windows be placed. */
    void show();
    /** Until the user has closed it. */
    Outcome run();
    /** What the user chose, once accepted. */
    const atoms::ExportChoice& choice() const { return choice_; }

private:
    void build();
    GtkWidget* makeHeader() const;
    GtkWidget* makeSummary();
    GtkWidget* makeButtons();
    void watch();
    void end(Outcome outcome);
    void describeChoice();
    bool isInList() const;

    static void onAccept(GtkWidget* button, ExportDialog* dialog);
    static void onCancel(GtkWidget* button, ExportDialog* dialog);
    static gboolean onCloseRequest(GtkWindow* window, ExportDialog* dialog);
    static gboolean onKey(GtkEventControllerKey* keys, guint key, guint code, GdkModifierType modifiers,
                          ExportDialog* dialog);

    const ExportDialogRequest& request_;
    atoms::ExportChoice choice_;
    std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop_;
    GtkWidget* window_ = nullptr;
    std::unique_ptr<movies::SettingsPane> pane_;
    GtkWidget* summary_ = nullptr;
    GtkWidget* cancel_ = nullptr;
    GtkWidget* accept_ = nullptr;
    Outcome outcome_ = Outcome::none;
};

ExportDialog::ExportDialog(const ExportDialogRequest& request)
    : request_(request), choice_(request.choice), loop_(g_main_loop_new(nullptr, FALSE), g_main_loop_unref) {
    build();
    watch();
    describeChoice();
}

ExportDialog::~ExportDialog() {
    gtk_window_destroy(GTK_WINDOW(window_));
}

void ExportDialog::build() {
    const std::unique_ptr<gchar, decltype(&g_free)> name(g_utf8_make_valid(request_.movie.name.c_str(), -1),
                                                         g_free);
    window_ = gtk_window_new();
    gtk_window_set_title(GTK_WINDOW(window_), (std::string("Export Settings: ") + name.get()).c_str());
    gtk_window_set_resizable(GTK_WINDOW(window_), FALSE);
    gtk_window_set_icon_name(GTK_WINDOW(window_), "video-x-generic");
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing);
    gtk_widget_set_margin_start(box, kMargin);
    gtk_widget_set_margin_end(box, kMargin);
    gtk_widget_set_margin_top(box, kMargin);
    gtk_widget_set_margin_bottom(box, kMargin);
    gtk_widget_set_size_request(box, kWidth, -1);
    pane_ = std::make_unique<movies::SettingsPane>(request_, [this] { describeChoice(); });
    for (GtkWidget* const part :
         {makeHeader(), gtk_separator_new(GTK_ORIENTATION_HORIZONTAL), pane_->widget(),
          gtk_separator_new(GTK_ORIENTATION_HORIZONTAL), makeSummary(), makeButtons()})
        gtk_box_append(GTK_BOX(box), part);
    gtk_window_set_child(GTK_WINDOW(window_), box);
    gtk_window_set_default_widget(GTK_WINDOW(window_), accept_);
}

GtkWidget* ExportDialog::makeHeader() const {
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing / 2);
    const std::unique_ptr<gchar, decltype(&g_free)> name(g_utf8_make_valid(request_.movie.name.c_str(), -1),
                                                         g_free);
    GtkWidget* const title = gtk_label_new(name.get());
    gtk_label_set_xalign(GTK_LABEL(title), 0);
    gtk_label_set_ellipsize(GTK_LABEL(title), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_max_width_chars(GTK_LABEL(title), kWidestNameChars);
    gtk_widget_add_css_class(title, "title-3");
    GtkWidget* const facts = gtk_label_new(movies::movieText(request_.movie).c_str());
    gtk_label_set_xalign(GTK_LABEL(facts), 0);
    gtk_label_set_wrap(GTK_LABEL(facts), TRUE);
    gtk_widget_add_css_class(facts, "dim-label");
    gtk_box_append(GTK_BOX(box), title);
    gtk_box_append(GTK_BOX(box), facts);
    return box;
}

GtkWidget* ExportDialog::makeSummary() {
    // Screen readers tell its changes by themselves.
    summary_ =
        GTK_WIDGET(g_object_new(GTK_TYPE_LABEL, "accessible-role", GTK_ACCESSIBLE_ROLE_STATUS, nullptr));
    gtk_label_set_xalign(GTK_LABEL(summary_), 0);
    gtk_label_set_wrap(GTK_LABEL(summary_), TRUE);
    return summary_;
}

GtkWidget* ExportDialog::makeButtons() {
    cancel_ = gtk_button_new_with_mnemonic("C_ancel");
    // It goes by its label's text, which has no underscore; GTK 4.8 gives it a name with one besides.
    gtk_accessible_reset_property(GTK_ACCESSIBLE(cancel_), GTK_ACCESSIBLE_PROPERTY_LABEL);
    accept_ = gtk_button_new_with_label("OK");
    gtk_widget_add_css_class(accept_, "suggested-action");
    GtkWidget* const box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    gtk_box_set_homogeneous(GTK_BOX(box), TRUE);
    gtk_widget_set_halign(box, GTK_ALIGN_END);
    gtk_box_append(GTK_BOX(box), cancel_);
    gtk_box_append(GTK_BOX(box), accept_);
    return box;
}

void ExportDialog::watch() {
    g_signal_connect(accept_, "clicked", G_CALLBACK(onAccept), this);
    g_signal_connect(cancel_, "clicked", G_CALLBACK(onCancel), this);
    g_signal_connect(window_, "close-request", G_CALLBACK(onCloseRequest), this);
    // Before the controls get them: Return means OK in a number or a list, too.
    GtkEventController* const keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect(keys, "key-pressed", G_CALLBACK(onKey), this);
    gtk_widget_add_controller(window_, keys);
}

void ExportDialog::describeChoice() {
    if (pane_ == nullptr || summary_ == nullptr) return;
    const atoms::ExportChoice choice = pane_->choice();
    const std::string text = movies::choiceText(choice, request_.movie, request_.formats, request_.seconds);
    gtk_label_set_text(GTK_LABEL(summary_), text.c_str());
    gtk_widget_set_sensitive(accept_, movies::estimateBytes(choice, request_.movie, request_.formats, 1) > 0);
}

bool ExportDialog::isInList() const {
    GtkWidget* const focus = gtk_window_get_focus(GTK_WINDOW(window_));
    return focus != nullptr && gtk_widget_get_ancestor(focus, GTK_TYPE_POPOVER) != nullptr;
}

gboolean ExportDialog::onKey(GtkEventControllerKey*, guint key, guint, GdkModifierType,
                             ExportDialog* dialog) {
    // A list that hangs open has the keys for itself; while it opens they would hit what is behind it.
    if (dialog->pane_->hasOpenList()) return dialog->isInList() ? FALSE : TRUE;
    if (key == GDK_KEY_Escape) {
        dialog->end(Outcome::cancelled);
        return TRUE;
    }
    const bool isReturn = key == GDK_KEY_Return || key == GDK_KEY_KP_Enter || key == GDK_KEY_ISO_Enter;
    if (!isReturn || gtk_window_get_focus(GTK_WINDOW(dialog->window_)) == dialog->cancel_) return FALSE;
    dialog->pane_->finishTyping();
    if (gtk_widget_get_sensitive(dialog->accept_)) dialog->end(Outcome::accepted);
    return TRUE;
}

void ExportDialog::onAccept(GtkWidget*, ExportDialog* dialog) {
    dialog->pane_->finishTyping();
    if (gtk_widget_get_sensitive(dialog->accept_)) dialog->end(Outcome::accepted);
}

void ExportDialog::onCancel(GtkWidget*, ExportDialog* dialog) {
    dialog->end(Outcome::cancelled);
}

gboolean ExportDialog::onCloseRequest(GtkWindow*, ExportDialog* dialog) {
    dialog->end(Outcome::cancelled);
    return TRUE;  // it is destroyed when its loop has ended
}

void ExportDialog::end(Outcome outcome) {
    if (outcome_ == Outcome::none) {
        outcome_ = outcome;
        if (outcome == Outcome::accepted) choice_ = pane_->choice();
    }
    g_main_loop_quit(loop_.get());
}

void ExportDialog::show() {
    GtkRequisition size{};
    gtk_widget_get_preferred_size(window_, nullptr, &size);
    GdkDisplay* const display = gtk_widget_get_display(window_);
    const bool isPlaced = canPlaceWindows(display);
    const WindowPlace place =
        isPlaced ? centred(mainScreen(display), {size.width, size.height}) : WindowPlace{};
    // Once for screens without a window manager, and once more for managers.
    if (isPlaced) {
        gtk_widget_realize(window_);
        moveWindow(GTK_WINDOW(window_), place);
    }
    gtk_window_present(GTK_WINDOW(window_));
    if (isPlaced) moveWindow(GTK_WINDOW(window_), place);
}

Outcome ExportDialog::run() {
    if (outcome_ == Outcome::none) g_main_loop_run(loop_.get());
    return outcome_;
}

void tell(DialogWord word) {
    tellStarter(MessageWriter(static_cast<uint32_t>(word)));
}

bool openDisplay() {
    const bool hasDisplay = openGtkDisplay() != nullptr;
    MessageWriter ready(static_cast<uint32_t>(DialogWord::ready));
    ready(hasDisplay);
    tellStarter(ready);
    return hasDisplay;
}

bool hearRequest(ExportDialogRequest& request) {
    return hearStarter([&request](MessageReader& message) {
        uint32_t word = 0;
        return message.readKind(word) && word == static_cast<uint32_t>(DialogWord::request) &&
               movies::read(message, request);
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (!joinStarterAs(argc, argv)) return EXIT_FAILURE;
    ExportDialogRequest request;
    if (!openDisplay() || !hearRequest(request)) return EXIT_FAILURE;
    heedStarter([](MessageReader&) { return false; });  // nothing more is to be said
    Outcome outcome = Outcome::none;
    atoms::ExportChoice choice;
    {
        ExportDialog dialog(request);
        dialog.show();
        tell(DialogWord::shown);
        outcome = dialog.run();
        choice = dialog.choice();
    }
    // The window goes before its answer: whoever gets that may rely on it.
    gdk_display_flush(gdk_display_get_default());
    if (outcome == Outcome::accepted) {
        tellStarter(movies::writeAccepted(choice));
    } else {
        tell(DialogWord::cancelled);
    }
    return EXIT_SUCCESS;
}
