// The program that nobody builds owns the headers that all tests read (CMakeLists.txt).
