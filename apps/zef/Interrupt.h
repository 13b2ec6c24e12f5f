#pragma once

// From here on the first Ctrl-C (or a polite kill) only leaves a note, so that
// the run can end by itself; the second one ends the process.
void catchInterrupts();

// Throws Cancelled if there is a note.
void throwIfInterrupted();
