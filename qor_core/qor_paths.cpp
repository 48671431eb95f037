#include "qor_core/qor_paths.h"

#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/thread/qor_mutex.h"
#include "qor_core/virtualfilesystem.h"

#include <algorithm>

namespace
{
struct SPathTable
{
    CMutex _Mutex{ "qor_paths" };
    std::span<const uint32> _Tokens;
    NQorUnorderedMap::CQorUnorderedMap<uint32, CString> _Paths;
    CQorArray<uint32> _ChecksummedTokens;
};

SPathTable& GetPathTable()
{
    static SPathTable s_Table;
    return s_Table;
}

// The statements of one settings file, each stored as it is read, so that a token given twice within the
// file is caught like one given in both files.
class CPathSettings : public CPersistent
{
public:
    CPathSettings( const char* pFileName, bool bChecksummed ) : _pFileName( pFileName ), _bChecksummed( bChecksummed )
    {
    }

    void ReadToken( CReader& Reader, uint32 Token ) override
    {
        const CQorStringView Key = Reader.GetKey().GetText();
        if ( !IsPathToken( Token ) )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "unrecognized token [%.*s]. Make sure to only used compile-time tokens", int( Key.GetSize() ),
                       Key.GetData() );
            Reader.SkipValue();
            return;
        }
        // "token = path" and nothing else: a bare key, a block or an empty path is recorded against the file.
        if ( !Reader.GetOperator().Match( NToken::_equals_ ) || Reader.IsBlock() )
        {
            Reader.MalformedToken( "Expected a path behind '='" );
            Reader.SkipValue();
            return;
        }
        CString Path;
        if ( !Reader.Read( Path, false ) )
        {
            return;
        }
        if ( Path.IsEmpty() )
        {
            Reader.MalformedToken( "Expected a path behind '='" );
            return;
        }

        SPathTable& Table = GetPathTable();
        CScopedLock<CMutex> Lock( &Table._Mutex );
        if ( Table._Paths.Contains( Token ) )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "Path for \"%.*s\" defined multiple times: %s", int( Key.GetSize() ), Key.GetData(),
                       Path.GetString() );
            return;
        }
        // Kept even when missing: a folder for saves or caches may only be made later.
        QOR_ASSERT_MSG( VFSExists( Path ), "%s contains a path that does not exist! [%.*s = %s]", _pFileName,
                        int( Key.GetSize() ), Key.GetData(), Path.GetString() );
        Table._Paths.Insert( Token, Path );
        if ( _bChecksummed )
        {
            Table._ChecksummedTokens.Add( Token );
        }
    }

private:
    const char* _pFileName;
    bool _bChecksummed;
};

bool LoadPathSettings( const char* pFileName, bool bChecksummed, const char* pMissingMessage )
{
    if ( !VFSIsInitialised() || !VFSExists( pFileName ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__,
                                 bChecksummed ? LOG_CATEGORY_HALVORSUND_DEBUG : LOG_CATEGORY_HALVORSUND_ERROR ),
                   pMissingMessage, pFileName );
        return false;
    }
    CString Reason;
    CTextLexer* pLexer = CreateVFSTextLexer( pFileName, Reason );
    if ( !pLexer )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Could not read \"%s\": %s",
                   pFileName, Reason.GetString() );
        return false;
    }
    CReader Reader( pLexer, true );
    CPathSettings Settings( pFileName, bChecksummed );
    Reader.ReadWithoutBraces( Settings );
    // The reader's destructor logs what it recorded, with the file's name.
    return Reader.IsOk();
}
} // namespace

void SetPathTokens( std::span<const uint32> Tokens )
{
    SPathTable& Table = GetPathTable();
    CScopedLock<CMutex> Lock( &Table._Mutex );
    Table._Tokens = Tokens;
}

bool IsPathToken( uint32 Token )
{
    SPathTable& Table = GetPathTable();
    CScopedLock<CMutex> Lock( &Table._Mutex );
    return std::find( Table._Tokens.begin(), Table._Tokens.end(), Token ) != Table._Tokens.end();
}

bool LoadPaths()
{
    return LoadPathSettings( "paths.settings", false, "Could not find \"%s\". Files will fail to load." );
}

bool LoadChecksummedPaths()
{
    return LoadPathSettings( "paths_checksummed.settings", true,
                             "Could not find \"%s\". No paths will be checksummed." );
}

CString GetPath( uint32 Token )
{
    SPathTable& Table = GetPathTable();
    {
        CScopedLock<CMutex> Lock( &Table._Mutex );
        if ( const CString* pPath = Table._Paths.FindValue( Token ) )
        {
            return *pPath;
        }
    }
    // The token's name when the tables know it; a token of no table by its number.
    const CString Name = int32( Token ) > 0 && int32( Token ) < GetLookupSize() ? GetTokenName( Token )
                                                                                : CString( std::to_string( Token ) );
    QOR_ASSERT_MSG( false, "could not find path for token \"%s\"", Name.GetString() );
    return CString();
}

bool HasPath( uint32 Token )
{
    SPathTable& Table = GetPathTable();
    CScopedLock<CMutex> Lock( &Table._Mutex );
    return Table._Paths.Contains( Token );
}

CQorArray<uint32> GetChecksummedPathTokens()
{
    SPathTable& Table = GetPathTable();
    CScopedLock<CMutex> Lock( &Table._Mutex );
    return Table._ChecksummedTokens;
}

void ClearPaths()
{
    SPathTable& Table = GetPathTable();
    CScopedLock<CMutex> Lock( &Table._Mutex );
    Table._Paths.Clear();
    Table._ChecksummedTokens.Clear();
}

CTextLexer* CreateVFSTextLexer( CQorStringView FileName, CString& Reason )
{
    CMemoryFile* pFile = CLexer::ReadVFSFile( FileName, 1, Reason );
    return pFile ? new CTextLexer( pFile, true ) : nullptr;
}
