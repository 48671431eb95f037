// The text lexer over any bytes, to the end and past every zero byte. The first byte chooses the options: bit 0
// the UTF-8 check, bit 1 the capture of row data, bit 2 reading an advanced statement "@[" to its ']' as the
// reader does.

#include "fuzz/lexer_fuzz_support.h"
#include "qor_core/memoryfile.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NLexerFuzz::Prepare();
    if ( !s_bReady || Size == 0 || Size > ( 1u << 30 ) )
    {
        return 0;
    }
    const uint8 Options = pData[ 0 ];
    const int32 FileSize = int32( Size - 1 );
    CMemoryFile File( pData + 1, FileSize, 1 );
    File.SetFileName( "fuzz.txt" );
    CTextLexer Lexer( &File, false, ( Options & 1 ) ? CLexer::ENCODING_UTF8 : CLexer::ENCODING_ANY );
    CLexer::SetCaptureRowData( ( Options & 2 ) != 0 );
    int64 Previous = -1;
    while ( File.GetPosition() < FileSize )
    {
        // Each round ends at a zero byte or at the end, and the next starts behind it.
        if ( File.GetPosition() <= Previous )
        {
            std::abort();
        }
        Previous = File.GetPosition();
        while ( Lexer.NextToken() )
        {
            const CToken& Token = Lexer.GetToken();
            NLexerFuzz::ExerciseToken( Token );
            if ( ( Options & 4 ) && Token.GetText().StartsWith( "@[" ) )
            {
                Lexer.ReadUntil( ']' );
            }
        }
    }
    CLexer::SetCaptureRowData( false );
    return 0;
}
