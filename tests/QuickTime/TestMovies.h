/* TestMovies.h: movies and pictures that a test makes for itself.
 *
 * Thread: any.
 * Errors: what cannot be made fails the test.
 */
#pragma once

#include <string>

struct TestMovie {
    int width = 320;
    int height = 240;
    int framesPerSecond = 25;
    int frames = 25;
    bool hasSound = true;
    bool hasVideo = true;
    const char* pattern = "ball";  // as videotestsrc has it; "snow" is hard on encoders
};

/** A QuickTime movie of Photo-JPEG and uncompressed stereo sound at 44.1 kHz. */
void makeMovie(const std::string& path, const TestMovie& movie = {});
/** One picture; the file's extension says of which kind: .jpg or .png. `frame` tells pictures apart. */
void makePicture(const std::string& path, int width, int height, int frame = 0);
