// The numbers shared by app.rc and main.cpp.
#pragma once

#define IDS_GREETING 101
#define IDS_FAREWELL 102
#define IDI_APP 1
