// A module whose resource scripts share names.
extern "C" int qnTestStems() { return 1; }
