#pragma once

// Runs the whole program: application object, one MainWindow, the event loop. Returns the
// event loop's exit code. Kept out of main.cpp so that a test can drive the real start-up.
int runKelvara(int& argc, char** argv);
