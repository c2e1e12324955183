/* environment.h: the variables of a program that a test starts, and lists of texts as execve() takes them.
 *
 * Thread: any, while nobody changes this process's own variables.
 * Owns:   nothing; addresses last as long as the texts that they are of.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

namespace e2e {

/** This process's variables with the changes laid over them, each as "NAME=value". */
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes);

/** Their addresses, and null behind them. */
std::vector<char*> pointersTo(std::vector<std::string>& texts);

}  // namespace e2e
