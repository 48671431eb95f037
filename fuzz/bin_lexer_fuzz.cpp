// The binary lexer over any bytes, to the end.

#include "fuzz/lexer_fuzz_support.h"
#include "qor_core/memoryfile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NLexerFuzz::Prepare();
    if ( !s_bReady || Size > ( 1u << 30 ) )
    {
        return 0;
    }
    CMemoryFile File( pData, int32( Size ), 0 );
    File.SetFileName( "fuzz.bin" );
    CBinLexer Lexer( &File, false );
    while ( Lexer.NextToken() )
    {
        NLexerFuzz::ExerciseToken( Lexer.GetToken() );
    }
    return 0;
}
