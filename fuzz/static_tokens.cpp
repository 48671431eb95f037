// The fuzz programs' static token table, which the library asks the application for: the keywords the library
// knows by number and a few keys, so that words of the inputs meet real tokens.

#include "qor_core/persistence/lexer.h"

namespace
{
struct SStaticToken
{
    const char* pName;
    uint32 Id;
};

constexpr SStaticToken c_StaticTokens[] = {
    { "yes", 1038 },     { "no", 1039 },      { "hsv", 513 },    { "rgb", 579 },  { "rgba", 580 },
    { "spherical", 1009 }, { "cylindrical", 1010 }, { "vector", 1011 }, { "buffer", 508 }, { "Name", 100 },
    { "position", 101 }, { "colour", 102 }, { "health", 103 }, { "last", 2000 },
};
} // namespace

int32 GetStaticTokenCount()
{
    return int32( sizeof( c_StaticTokens ) / sizeof( c_StaticTokens[ 0 ] ) );
}

const char* GetStaticTokenName( int32 Index )
{
    return c_StaticTokens[ Index ].pName;
}

uint32 GetStaticTokenId( int32 Index )
{
    return c_StaticTokens[ Index ].Id;
}
