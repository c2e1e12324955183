#include "QuickTime.h"

// This edition has no movies to work on, so there is nothing to set up.
OSErr EnterMovies() {
    return 0;
}
