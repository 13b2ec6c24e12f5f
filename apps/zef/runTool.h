#pragma once

// Runs the command that the arguments of main() tell, and gives its exit status. Throws what commands do not tell
// themselves.
int runTool(int argc, char** argv);
