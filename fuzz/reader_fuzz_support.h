#pragma once

// What both reader targets share: a persistent object that reads every statement in one of the reader's forms,
// chosen by the key, nests objects for values that open blocks, and skips; and an assertion handler that lets
// through only the reports that hostile files may cause.

#include "fuzz/lexer_fuzz_support.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/qor_persistent_reader.h"

#include <string>

namespace NReaderFuzz
{
// The reports of the reader and the units below it that the file, not the code, causes.
inline bool IsExpectedReport( const char* pText )
{
    static const char* const Expected[] = {
        "ValidateValStringLength()",
        "Div/0. Fix your code",
        "nLevel < 16 && \"Skipping tokens really deep sir.\"",
        "Peek.Match( _string_ ) || Peek.Match( _eof_ )",
        "function is not valid for binary files",
        "Trying to read buffer beyond EOF",
        "Not enough left of the file to even read the size of the data",
        ( "Non-binary buffer reading is very much untested, and should not be used for large buffers, e.g., "
          "transferring save games" ),
        "Expected to start at string end",
        "Failed to find start of quote!",
        // A variable whose value is '}', met while skipping to a block's end.
        "Recursives > 0",
        // A fixed point at its extremes needs 22 bytes of token text.
        "Result.ptr < Last",
    };
    for ( const char* pExpected : Expected )
    {
        if ( std::strcmp( pText, pExpected ) == 0 )
        {
            return true;
        }
    }
    return std::strncmp( pText, "Unknown token '", 15 ) == 0 || std::strstr( pText, "mismatching paranthesis" );
}

inline void StopOnUnexpectedAssert( const char* pText, const char* pFile, uint32 nLine, bool, bool*, bool* )
{
    if ( IsExpectedReport( pText ) )
    {
        return;
    }
    std::fprintf( stderr, "unexpected assertion %s:%u: %s\n", pFile, nLine, pText );
    std::abort();
}

inline bool Prepare()
{
    NLexerFuzz::Prepare();
    SetAssertHandler( &StopOnUnexpectedAssert );
    return true;
}

// Reads each statement by the form its key selects; objects nest up to a depth, deeper blocks are skipped.
class CFuzzObject : public CPersistent
{
public:
    explicit CFuzzObject( int32 Depth ) : _Depth( Depth ) {}

    void ReadToken( CReader& Reader, uint32 Token ) override
    {
        const CQorStringView Key = Reader.GetKey().GetText();
        const uint32 Form = ( Token + ( Key.IsEmpty() ? 0u : uint8( Key[ 0 ] ) ) ) % 16;
        int32 Int32 = 0;
        uint32 UInt32 = 0;
        int64 Int64 = 0;
        uint64 UInt64 = 0;
        int8 Int8 = 0;
        float Float = 0;
        bool Bool = false;
        CFixedPoint Fixed;
        CString String;
        CVector<float, 4> Colour;
        CVector<float, 3> Vector;
        int32 Array[ 4 ];
        CQorArray<uint8> Buffer;
        CQorArray<CString> Strings;
        switch ( Form )
        {
        case 0:
            Reader.Read( Int32 ), Reader.Read( UInt32 ), Reader.ReadHexadecimal( UInt32 );
            break;
        case 1:
            Reader.Read( Int64 ), Reader.Read( UInt64 ), Reader.Read( Int8 );
            break;
        case 2:
            Reader.Read( Float ), Reader.Read( Bool );
            break;
        case 3:
            Reader.Read( Fixed );
            break;
        case 4:
            Reader.Read( String, false );
            break;
        case 5:
            Reader.ReadArray( Array, 4 );
            break;
        case 6:
            Reader.ReadColor( Colour );
            break;
        case 7:
            Reader.ReadVector( Vector );
            break;
        case 8:
            Reader.ReadBuffer( Buffer );
            break;
        case 9:
            Reader.ReadStringArray( Strings );
            break;
        case 10:
            Reader.SkipValue();
            break;
        case 11:
            if ( !Reader.GetLexer()->IsBinary() && Reader.GetValue().IsQuoted() )
            {
                Reader.GetRawStringBackward( String );
            }
            break;
        case 12:
            Reader.SkipToBlockEnd();
            break;
        default:
            if ( Reader.IsBlock() && _Depth < 32 )
            {
                CFuzzObject Child( _Depth + 1 );
                Reader.Read( Child );
            }
            else
            {
                CPersistent::ReadToken( Reader, Token );
            }
            break;
        }
    }

private:
    int32 _Depth;
};

// Reads the whole file as an object's contents; the reader must end at the end of the input.
inline void ReadAll( CLexer* pLexer )
{
    CReader::ResetSkipBlockDepth();
    {
        CReader Reader( pLexer, true );
        CFuzzObject Object( 0 );
        Reader.ReadWithoutBraces( Object );
        if ( !Reader.IsAtEof() )
        {
            std::abort();
        }
        Reader.ReportErrors();
    }
}
} // namespace NReaderFuzz
