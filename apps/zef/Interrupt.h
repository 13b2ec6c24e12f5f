#pragma once

// From here on Ctrl-C (or a polite kill) ends the process at once, wherever it is,
// with a message and EXIT_CANCELLED.
void catchInterrupts();

// From here on the process ends by itself, since it has begun to write; a second
// Ctrl-C ends it all the same.
void holdInterrupts();
