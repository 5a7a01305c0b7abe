#pragma once

// Runs a shell command and waits for it, at most timeLimitSeconds. Absolute
// paths inside the command resolve like PXFile's. Returns the command's exit
// status, or -1 when it could not be run or was stopped at the time limit.
int sy_system(const char* command, int timeLimitSeconds);
