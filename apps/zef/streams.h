#pragma once

// Gives standard streams that the parent has closed a place, lest files that the tool opens come to lie there:
// nothing can be read or written.
void fillStandardStreams();

// False if the parent has closed it.
bool hasStandardOutput();
