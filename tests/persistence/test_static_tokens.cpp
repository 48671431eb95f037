#include "tests/persistence/test_static_tokens.h"

#include "qor_core/persistence/lexer.h"

int32 GetStaticTokenCount()
{
    return int32( sizeof( TestStaticTokens ) / sizeof( TestStaticTokens[ 0 ] ) );
}

const char* GetStaticTokenName( int32 Index )
{
    return TestStaticTokens[ Index ].pName;
}

uint32 GetStaticTokenId( int32 Index )
{
    return TestStaticTokens[ Index ].Id;
}
