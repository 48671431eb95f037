// The expression evaluator over any text, in CFixedPoint as the reader uses it and in int64 and double. The only
// reports hostile text may cause are a mismatched parenthesis and a division by zero; any other is a fault. A
// failed evaluation must leave the result alone.

#include "qor_core/math_parser.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
void StopOnUnexpectedAssert( const char* pText, const char* pFile, uint32 nLine, bool, bool*, bool* )
{
    if ( std::strcmp( pText, "Div/0. Fix your code" ) == 0 || std::strstr( pText, "mismatching paranthesis" ) )
    {
        return;
    }
    std::fprintf( stderr, "unexpected assertion %s:%u: %s\n", pFile, nLine, pText );
    std::abort();
}

template <typename T>
void Check( const CString& Expression )
{
    T Result {};
    const T Untouched = Result;
    if ( !NMathParser::Evaluate( Expression, Result ) && std::memcmp( &Result, &Untouched, sizeof( T ) ) != 0 )
    {
        std::abort();
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = ( SetAssertHandler( &StopOnUnexpectedAssert ), true );
    if ( !s_bReady || Size > ( 1u << 20 ) )
    {
        return 0;
    }
    const CString Expression( reinterpret_cast<const char*>( pData ), int32( Size ) );
    Check<CFixedPoint>( Expression );
    Check<int64>( Expression );
    Check<double>( Expression );
    return 0;
}
