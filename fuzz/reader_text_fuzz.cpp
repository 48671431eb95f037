// The persistent reader over the text lexer, on any bytes: statements, variables, advanced statements, every read
// form and the skips. Nothing may crash, read out of bounds, report what only a fault reports, or stop before the
// end of the input.

#include "fuzz/reader_fuzz_support.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NReaderFuzz::Prepare();
    if ( !s_bReady || Size > ( 1u << 24 ) )
    {
        return 0;
    }
    CMemoryFile File( pData, int32( Size ), 1 );
    File.SetFileName( "fuzz.txt" );
    NReaderFuzz::ReadAll( new CTextLexer( &File, false ) );
    return 0;
}
