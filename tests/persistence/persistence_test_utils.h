#pragma once

// What the reader and writer tests share: fresh token tables and a recording logger per test, files in memory,
// and hexadecimal dumps for comparing binary output.

#include "qor_core/blob.h"
#include "qor_core/memoryfile.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/persistence/qor_persistent_writer.h"
#include "tests/log_test_utils.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

class CPersistenceTest : public ::testing::Test
{
protected:
    CPersistenceTest() : _pLogger( new CRecordingLogger )
    {
        SetLogger( CQorScopedPtr<CLogger>( _pLogger ) );
        CreateTokens();
        CReader::ResetSkipBlockDepth();
    }
    ~CPersistenceTest() override { DestroyTokens(); }

    // The log's texts from the nFirst-th on, with or without their line ends.
    std::vector<std::string> LoggedSince( size_t nFirst, bool bLineEnds = true ) const
    {
        const std::vector<std::string> Texts = _pLogger->Texts();
        std::vector<std::string> Result( Texts.begin() + long( std::min( nFirst, Texts.size() ) ), Texts.end() );
        for ( std::string& Text : Result )
        {
            Text.erase( bLineEnds ? Text.size() : Text.find_last_not_of( '\n' ) + 1 );
        }
        return Result;
    }
    void ClearLog() { _nLogStart = _pLogger->Texts().size(); }
    std::vector<std::string> LoggedSinceClear( bool bLineEnds = true ) const
    {
        return LoggedSince( _nLogStart, bLineEnds );
    }

    CLogGuard _LogGuard;
    CRecordingLogger* _pLogger;
    size_t _nLogStart = 0;
};

// The bytes a writer produces, to a text or a binary file in memory.
inline std::string WriteToString( bool bBinary, const std::function<void( CWriter& )>& Write )
{
    CBlob Blob;
    {
        CMemoryFile File( &Blob, bBinary ? 0 : 1, CFile::OPEN_WRITE, false );
        CWriter Writer( &File, false );
        Write( Writer );
    }
    return std::string( reinterpret_cast<const char*>( Blob.GetData() ), size_t( Blob.GetSize() ) );
}

inline std::string ToHex( const std::string& Bytes )
{
    static const char Digits[] = "0123456789abcdef";
    std::string Hex;
    for ( unsigned char Byte : Bytes )
    {
        Hex += Digits[ Byte >> 4 ];
        Hex += Digits[ Byte & 15 ];
    }
    return Hex;
}

// A reader over a copy of the bytes, as a text or a binary file named "dir/test.txt" or "dir/test.bin".
class CReaderOver
{
public:
    CReaderOver( const std::string& Bytes, bool bBinary )
        : _Bytes( Bytes ), _File( _Bytes.data(), int32( _Bytes.size() ), bBinary ? 0 : 1 )
    {
        _File.SetFileName( bBinary ? "dir/test.bin" : "dir/test.txt" );
        CLexer* pLexer = bBinary ? static_cast<CLexer*>( new CBinLexer( &_File, false ) )
                                 : static_cast<CLexer*>( new CTextLexer( &_File, false ) );
        _pReader = std::make_unique<CReader>( pLexer, true );
    }
    CReader& operator*() { return *_pReader; }
    CReader* operator->() { return _pReader.get(); }
    CMemoryFile& File() { return _File; }
    // Ends the reader now, so that its report can be checked.
    void Destroy() { _pReader.reset(); }

private:
    std::string _Bytes;
    CMemoryFile _File;
    std::unique_ptr<CReader> _pReader;
};

inline std::string TextOf( const CToken& Token )
{
    return ToStdString( Token.GetText() );
}
