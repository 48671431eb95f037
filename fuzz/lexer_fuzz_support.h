#pragma once

// What both lexer targets share: the token tables, the dropped log lines, and an assertion handler that lets
// through only the reports hostile input may cause (an unknown binary identifier, a binary text with a zero inside)
// and stops on any other, which would be a fault of the lexer.

#include "fuzz/fuzz_support.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/qor_assert.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace NLexerFuzz
{
inline void StopOnUnexpectedAssert( const char* pText, const char* pFile, uint32 nLine, bool, bool*, bool* )
{
    if ( std::strncmp( pText, "Unknown token '", 15 ) == 0 || std::strcmp( pText, "ValidateValStringLength()" ) == 0 )
    {
        return;
    }
    std::fprintf( stderr, "unexpected assertion %s:%u: %s\n", pFile, nLine, pText );
    std::abort();
}

inline bool Prepare()
{
    NFuzz::DropLogLines();
    SetAssertHandler( &StopOnUnexpectedAssert );
    CreateTokens();
    return true;
}

// Every conversion of the token, and a copy compared with it.
inline void ExerciseToken( const CToken& Token )
{
    int8 Int8;
    uint8 UInt8;
    int16 Int16;
    uint16 UInt16;
    int32 Int32;
    uint32 UInt32;
    int64 Int64;
    uint64 UInt64;
    float Float;
    double Double;
    CFixedPoint Fixed;
    bool Bool;
    uint32 Hex;
    CString String;
    Token.GetInt8( Int8 );
    Token.GetUInt8( UInt8 );
    Token.GetInt16( Int16 );
    Token.GetUInt16( UInt16 );
    Token.GetInt32( Int32 );
    Token.GetUInt32( UInt32 );
    Token.GetInt64( Int64 );
    Token.GetUInt64( UInt64 );
    Token.GetFloat( Float );
    Token.GetDouble( Double );
    Token.GetFixedPoint( Fixed );
    Token.GetBool( Bool );
    Token.GetHexadecimal( Hex );
    Token.GetString( String );
    const CToken Copy = Token;
    if ( !( Copy == Token ) || IsComparison( Copy ) != IsComparison( Token ) )
    {
        std::abort();
    }
}
} // namespace NLexerFuzz
