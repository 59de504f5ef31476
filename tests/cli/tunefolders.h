#pragma once

#include "support/media.h"

/**
 * Fills the folder "first" with three tunes and a file that is no audio, and "second" with the same
 * tunes in another format.
 */
void addTuneFolders(const testmedia::MediaFolder& media);
