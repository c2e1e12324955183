/* Console.h: what the tarvo command prints.
 *
 * Results go to standard output, one thing a line, so that they can be piped on; notes, complaints and
 * progress go to standard error. On a terminal progress is a bar that rewrites its line, otherwise a line now
 * and then.
 *
 * Thread: any; lines of different threads do not mix.
 */
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace tarvo {

namespace console {

void printResult(std::string_view line);
void printNote(std::string_view line);
/** With "tarvo: " in front, so that it is known in a script's log. */
void printComplaint(std::string_view line);
bool isTerminal();

/** One bar for one thing in progress; percent never goes back. */
void showProgress(const std::string& label, int percent);
/** Ends the bar's line, if there is one; every print does so by itself. */
void endProgress();

}  // namespace console

template <class... Values>
void say(fmt::format_string<Values...> format, Values&&... values) {
    console::printResult(fmt::format(format, std::forward<Values>(values)...));
}

template <class... Values>
void note(fmt::format_string<Values...> format, Values&&... values) {
    console::printNote(fmt::format(format, std::forward<Values>(values)...));
}

template <class... Values>
void complain(fmt::format_string<Values...> format, Values&&... values) {
    console::printComplaint(fmt::format(format, std::forward<Values>(values)...));
}

}  // namespace tarvo
