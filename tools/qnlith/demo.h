// The parts of qnlith demo that live in files of their own.
#pragma once

// A fault in a cThread, translated, shown and waited for; 0 when every step
// went as documented.
int demoRoadOfOneEvent();
