/* DumpPlayer.h: plays the byte dumps of a page against the real helper.
 *
 * A line of a dump is one of
 *   > bytes      sent on the call connection         < bytes      must arrive there
 *   E> bytes     sent on the callback connection     E< bytes     must arrive there, other messages before it
 * or not lab {...}    a command to the camera lab and ends at a "#" that follows a blank. Bytes are pairs of
 * hexadecimal digits; {name} is an int that is captured where it first arrives and must stay the same; [n] is
 * n bytes of any value, n a number or a name; {now+Nms} is a long: the wall clock N milliseconds ahead, in
 * microseconds; {modules} is a string, the folder of the simulated Nikon modules; {film} is one, too, the
 * path of a movie.
 *
 * Thread: one thread at a time.
 * Owns:   the helper, its connections, and the folder in which it works.
 * Errors: whatever differs fails the test and tells the line of the page.
 */
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/docs/Markdown.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/raw_socket.h"
#include "tests/e2e/support/temp_folder.h"

namespace docs {

class DumpPlayer {
public:
    explicit DumpPlayer(const std::string& page);
    /** Goes back to the folder from which the test came. */
    ~DumpPlayer();
    DumpPlayer(const DumpPlayer&) = delete;
    DumpPlayer& operator=(const DumpPlayer&) = delete;

    /** "new" starts a helper; "shutdown" too, and expects that the block ends it; "closes" expects that the
     *  helper closes the call connection after it. */
    void play(const Block& block);
    /** The files that the helper has stored where relative paths lead. */
    std::string pictures() const { return folder_.path().string(); }

private:
    void startHelper(const Block& block);
    void playLine(const std::string& line);
    void send(e2e::RawClient& socket, const std::vector<std::string>& tokens);
    void expectReply(const std::vector<std::string>& tokens);
    void expectEvent(const std::vector<std::string>& tokens);
    e2e::RawClient& calls();
    e2e::RawClient& events();

    /** Compares and captures; the offset moves on. False at the first difference, which `why` then tells. */
    bool match(const std::string& token, const e2e::Bytes& bytes, size_t& at, std::string& why);
    size_t sizeOf(const std::string& token) const;
    e2e::Bytes bytesOf(const std::string& token) const;
    /** Of a movie in the folder, as far as the simulated toolbox looks at it. */
    std::string film() const;

    std::vector<Block> blocks_;
    std::filesystem::path home_;
    e2e::TempFolder folder_;
    std::unique_ptr<e2e::HelperProcess> helper_;
    std::unique_ptr<e2e::LabClient> lab_;
    e2e::RawClient calls_;
    e2e::RawClient events_;
    std::map<std::string, e2e::Bytes> names_;
};

}  // namespace docs
