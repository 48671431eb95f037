#pragma once

// The test program's static token table, which the library asks the application for (test_static_tokens.cpp
// defines the three functions over it). It holds the keywords the library knows by number, a few keys, and the
// cases the tables must handle: a name given twice in two cases, a name that is not ASCII, a gap (106 names
// nothing), and the highest identifier, 2000, above which dynamic tokens start. The paths tests take 200 to 203
// as the game's path tokens.

#include "qor_core/qor_types.h"

struct STestStaticToken
{
    const char* pName;
    uint32 Id;
};

inline constexpr STestStaticToken TestStaticTokens[] = {
    { "yes", 1038 },      { "no", 1039 },       { "hsv", 513 },       { "rgb", 579 },
    { "rgba", 580 },      { "spherical", 1009 }, { "cylindrical", 1010 }, { "vector", 1011 },
    { "buffer", 508 },    { "Name", 100 },      { "position", 101 },  { "colour", 102 },
    { "health", 103 },    { "speed", 104 },     { "größe", 105 },     { "Speed", 107 },
    { "data_path", 200 }, { "save_path", 201 }, { "script_path", 202 }, { "mods_path", 203 },
    { "last", 2000 },
};
