#include "qor_core/checksum.h"

#include "qor_core/log_deprecated.h"
#include "qor_core/persistence/lexer.h"
#include "qor_core/persistence/qor_persistent_reader.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qor_paths.h"
#include "qor_core/thread/qor_parallel_for.h"
#include "qor_core/virtualfilesystem.h"

#include <chrono>
#include <cstring>
#include <memory>

namespace NDetail
{
// Logs how long a step of the checksum took, under its label, to the profiler's category.
class CChecksumStep
{
public:
    explicit CChecksumStep( const char* pLabel ) : _pLabel( pLabel ), _Start( std::chrono::steady_clock::now() ) {}
    ~CChecksumStep()
    {
        const std::chrono::duration<double> Seconds = std::chrono::steady_clock::now() - _Start;
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_PROFILER_LOG ), "%s: %.3f seconds", _pLabel,
                   Seconds.count() );
    }
    CChecksumStep( const CChecksumStep& ) = delete;
    CChecksumStep& operator=( const CChecksumStep& ) = delete;

private:
    const char* _pLabel;
    std::chrono::steady_clock::time_point _Start;
};

bool IsKey( const CReader& Reader, const char* pName )
{
    return Reader.GetKey().GetText().CompareNoCase( pName ) == 0;
}

class CDirectoryEntry : public CPersistent
{
public:
    explicit CDirectoryEntry( SChecksumDirectory& Directory ) : _Directory( Directory ) {}

    void ReadToken( CReader& Reader, uint32 ) override
    {
        if ( IsKey( Reader, "name" ) )
        {
            Reader.Read( _Directory._Name, false );
        }
        else if ( IsKey( Reader, "sub_directories" ) )
        {
            Reader.Read( _Directory._bSubDirectories );
        }
        else if ( IsKey( Reader, "file_extension" ) )
        {
            Reader.Read( _Directory._FileExtension, false );
        }
        else
        {
            Reader.UnexpectedToken( "Unknown key of a directory entry" );
        }
    }

private:
    SChecksumDirectory& _Directory;
};

class CManifest : public CPersistent
{
public:
    explicit CManifest( SChecksumManifest& Manifest ) : _Manifest( Manifest ) {}

    void ReadToken( CReader& Reader, uint32 ) override
    {
        if ( IsKey( Reader, "directory" ) )
        {
            SChecksumDirectory Directory;
            CDirectoryEntry Entry( Directory );
            Reader.Read( Entry );
            // A trailing slash would make every enumerated name carry two.
            while ( Directory._Name.GetSize() > 1 && Directory._Name[Directory._Name.GetSize() - 1] == '/' )
            {
                Directory._Name.Resize( Directory._Name.GetSize() - 1 );
            }
            if ( Directory._Name.IsEmpty() )
            {
                Reader.MalformedToken( "A directory entry needs a name" );
                return;
            }
            _Manifest._Directories.Add( std::move( Directory ) );
        }
        else if ( IsKey( Reader, "file" ) )
        {
            CString Name;
            if ( !Reader.Read( Name, false ) )
            {
                return;
            }
            if ( Name.IsEmpty() )
            {
                Reader.MalformedToken( "A file entry needs a name" );
                return;
            }
            _Manifest._Files.Add( std::move( Name ) );
        }
        else
        {
            Reader.UnexpectedToken( "Unknown key of the manifest" );
        }
    }

private:
    SChecksumManifest& _Manifest;
};

bool ReadManifestFrom( CLexer* pLexer, SChecksumManifest& Out, CString& Errors )
{
    Out = SChecksumManifest();
    bool bOk = true;
    {
        CReader Reader( pLexer, true );
        CManifest Manifest( Out );
        Reader.ReadWithoutBraces( Manifest );
        if ( !Reader.IsOk() )
        {
            Errors += "Error while reading manifest file\n";
            bOk = false;
        }
    }
    if ( Out._Directories.IsEmpty() )
    {
        Errors += "Did not find any directory info in the -dirs file!\n";
        bOk = false;
    }
    return bOk;
}

// Subversion's folders by ".svn" anywhere in the path, as they always were; git's by a folder named ".git".
bool IsVersionControlPath( const CString& Path )
{
    return Path.Find( ".svn" ) != -1 || Path.Find( "/.git/" ) != -1 || CQorStringView( Path ).StartsWith( ".git/" );
}

bool IsDirectory( CQorStringView Path, bool bExpected )
{
    bool bIsDirectory = false;
    return VFSStat( Path, nullptr, &bIsDirectory ) && bIsDirectory == bExpected;
}

// Reads the file through in blocks into State, and finalizes it in any case.
bool HashFile( const CString& Name, MD5& State )
{
    constexpr uint64 BlockSize = 65536;
    bool bOk = false;
    CVFSOpenResult Opened = VFSOpen( Name, CFile::OPEN_READ, 0 );
    if ( Opened.IsSuccess() )
    {
        SVFSFile* pFile = Opened.MoveValue();
        const std::unique_ptr<uint8[]> pBlock( new uint8[BlockSize] );
        for ( ;; )
        {
            const uint64 Read = VFSRead( pFile, pBlock.get(), BlockSize );
            State.update( pBlock.get(), uint32( Read ) );
            if ( Read < BlockSize )
            {
                bOk = VFSEof( pFile );
                break;
            }
        }
        VFSClose( pFile );
    }
    State.finalize();
    return bOk;
}
} // namespace NDetail

bool ReadManifest( CQorStringView FileName, SChecksumManifest& Out, CString& Errors )
{
    CString Reason = CString( "empty name" );
    CTextLexer* pLexer = FileName.IsEmpty() ? nullptr : CreateVFSTextLexer( FileName, Reason );
    if ( !pLexer )
    {
        Out = SChecksumManifest();
        Errors += "Could not read manifest file ";
        Errors += FileName;
        Errors += ": ";
        Errors += Reason;
        Errors += '\n';
        return false;
    }
    return NDetail::ReadManifestFrom( pLexer, Out, Errors );
}

bool ReadManifest( CFile& File, SChecksumManifest& Out, CString& Errors )
{
    return NDetail::ReadManifestFrom( new CTextLexer( &File, false ), Out, Errors );
}

void CChecksumLog::Clear()
{
    _Entries.Clear();
    std::memset( _FinalDigest, 0, sizeof( _FinalDigest ) );
    _bHasFinal = false;
}

void CChecksumLog::Add( const CString& FileName, const MD5& Checksum )
{
    SEntry* pEntry = _Entries.Add( SEntry{ FileName, {} } );
    Checksum.raw_digest( pEntry->_Digest );
}

void CChecksumLog::SetFinal( const MD5& Final )
{
    Final.raw_digest( _FinalDigest );
    _bHasFinal = Final.isFinalized();
}

namespace
{
CString ToHex( const uint8* pDigest )
{
    static constexpr char Digits[] = "0123456789abcdef";
    CString Text;
    Text.Reserve( 2 * MD5::RAW_SIZE );
    for ( int32 Index = 0; Index < MD5::RAW_SIZE; ++Index )
    {
        Text += Digits[pDigest[Index] >> 4];
        Text += Digits[pDigest[Index] & 15];
    }
    return Text;
}
} // namespace

CString CChecksumLog::GetFinalText() const
{
    return _bHasFinal ? ToHex( _FinalDigest ) : CString();
}

CString CChecksumLog::GetText() const
{
    CString Text;
    for ( const SEntry& Entry : _Entries )
    {
        Text += ToHex( Entry._Digest );
        Text += "  ";
        Text += Entry._FileName;
        Text += '\n';
    }
    return Text;
}

bool CollectChecksumFiles( const SChecksumManifest& Manifest, CQorArray<CString>& Files, CString& Errors )
{
    NDetail::CChecksumStep Step( "getting files to checksum" );
    Files.Clear();
    bool bDirectoriesFound = true;
    bool bFilesFound = true;
    CQorArray<CString> Found;
    for ( const SChecksumDirectory& Directory : Manifest._Directories )
    {
        if ( Directory._Name.IsEmpty() || !NDetail::IsDirectory( Directory._Name, true ) )
        {
            Errors += "Could not find directory ";
            Errors += Directory._Name;
            Errors += '\n';
            bDirectoriesFound = false;
            continue;
        }
        VFSEnumerate( Directory._Name, Found, Directory._FileExtension );
        for ( CString& Name : Found )
        {
            // Enumerated names are "<directory>/<rest>": a '/' in the rest is a subdirectory's file.
            const bool bInSubDirectory = Name.Find( '/', Directory._Name.GetSize() + 1 ) != -1;
            if ( ( Directory._bSubDirectories || !bInSubDirectory ) && !NDetail::IsVersionControlPath( Name ) )
            {
                Files.Add( std::move( Name ) );
            }
        }
    }
    for ( const CString& Name : Manifest._Files )
    {
        if ( !NDetail::IsDirectory( Name, false ) )
        {
            Errors += "Could not find ";
            Errors += Name;
            Errors += '\n';
            bFilesFound = false;
            continue;
        }
        Files.Add( Name );
    }
    if ( !bFilesFound )
    {
        Errors += "Could not find all files!\n";
    }
    if ( !bDirectoriesFound )
    {
        Errors += "Could not find directory info!\n";
    }

    Files.Sort( []( const CString& Left, const CString& Right ) { return Left < Right; } );
    int32 Kept = 0;
    for ( int32 Index = 0; Index < Files.GetSize(); ++Index )
    {
        if ( Kept == 0 || !( Files[Index] == Files[Kept - 1] ) )
        {
            if ( Kept != Index )
            {
                Files[Kept] = std::move( Files[Index] );
            }
            ++Kept;
        }
    }
    Files.Resize( Kept );
    return bFilesFound && bDirectoriesFound;
}

bool HashChecksumFiles( const CQorArray<CString>& Files, CQorArray<MD5>& Checksums, MD5& Final, CString& Errors )
{
    NDetail::CChecksumStep Step( "Checksum hashing" );
    Checksums.Clear();
    Checksums.Resize( Files.GetSize() );
    // One flag per file, each written by the task that hashed it.
    CQorArray<uint8> Unreadable;
    Unreadable.Resize( Files.GetSize() );
    ParallelForWithIndex(
        Files,
        [&Checksums, &Unreadable]( const CString& Name, int32 Index )
        { Unreadable[Index] = NDetail::HashFile( Name, Checksums[Index] ) ? 0 : 1; },
        ETaskType::LongEach );

    bool bOk = true;
    for ( int32 i = 0; i < Checksums.GetSize(); ++i )
    {
        QOR_ASSERT( Checksums[i].isFinalized() );
        if ( Unreadable[i] != 0 )
        {
            Errors += "Could not read ";
            Errors += Files[i];
            Errors += '\n';
            bOk = false;
        }
        uint8 Digest[MD5::RAW_SIZE] = {};
        if ( Checksums[i].isFinalized() )
        {
            Checksums[i].raw_digest( Digest );
        }
        Final.update( Digest, MD5::RAW_SIZE );
    }
    Final.finalize();
    return bOk;
}

bool ComputeChecksum( const SChecksumManifest& Manifest, CChecksumLog& Log, CString& Errors )
{
    Log.Clear();
    CQorArray<CString> Files;
    if ( !CollectChecksumFiles( Manifest, Files, Errors ) )
    {
        return false;
    }
    CQorArray<MD5> Checksums;
    MD5 Final;
    const bool bOk = HashChecksumFiles( Files, Checksums, Final, Errors );
    for ( int32 Index = 0; Index < Files.GetSize(); ++Index )
    {
        Log.Add( Files[Index], Checksums[Index] );
    }
    Log.SetFinal( Final );
    return bOk;
}
