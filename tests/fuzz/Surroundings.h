/* Surroundings.h: what the camera logic needs around it: nobody listens, nobody sleeps, pictures go to a
 * folder of their own that goes with the process. */
#pragma once

#include <string>

/** The beginning of pictures' paths. */
const std::string& picturePath();
/** Every picture that was left. */
void removePictures();
