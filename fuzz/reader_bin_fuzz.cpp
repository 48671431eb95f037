// The persistent reader over the binary lexer, on any bytes: the same reading as the text target, with buffers
// whose counts run past the end and identifiers of no token.

#include "fuzz/reader_fuzz_support.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NReaderFuzz::Prepare();
    if ( !s_bReady || Size > ( 1u << 24 ) )
    {
        return 0;
    }
    CMemoryFile File( pData, int32( Size ), 0 );
    File.SetFileName( "fuzz.bin" );
    NReaderFuzz::ReadAll( new CBinLexer( &File, false ) );
    return 0;
}
