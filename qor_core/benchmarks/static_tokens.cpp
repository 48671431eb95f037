// The benchmark programs' static token table, which the library asks the application for: 32768 tokens, all
// named "dummy", each with its index as its identifier. No benchmark depends on the names.

#include "qor_core/persistence/lexer.h"

int32 GetStaticTokenCount()
{
    return 32768;
}

const char* GetStaticTokenName( int32 )
{
    return "dummy";
}

uint32 GetStaticTokenId( int32 Index )
{
    return uint32( Index );
}
