#include "qor_core/virtualfilesystem.h"

#include "qor_core/convert_utf.h"
#include "qor_core/file.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_commandline.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/platform/qor_clock.h"
#include "qor_core/platform/qor_lock_services.h"
#include "qor_core/platform/qor_native_file.h"
#include "qor_core/thread/qor_mutex.h"
#include "qor_core/thread/qor_task.h"
#include "qor_core/thread/qor_thread.h"
#include "qor_core/virtualfilesystem_physfs.h"

#include <physfs.h>

#include <algorithm>
#include <cerrno>
#include <atomic>
#include <climits>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

float g_VFSReadLimit = 0.0f;
float g_VFSWriteLimit = 0.0f;

#define QOR_VFS_STRINGIFY2( X ) #X
#define QOR_VFS_STRINGIFY( X ) QOR_VFS_STRINGIFY2( X )
#define QOR_VFS_LOCATION __FILE__ "(" QOR_VFS_STRINGIFY( __LINE__ ) ")"

namespace
{
[[maybe_unused]] const bool g_bIoMemoryRegistered = ( CQorCommandLine::RegisterArgumentName( "io_memory_mb" ), true );

constexpr uint64 c_MegaByte = 1ull << 20;

CQorArray<CString> s_GameDataDirs;
CQorArray<CString> s_MountedPrefixes;
CMutex s_CloseMutex( "vfs_close" );
std::atomic<bool> s_bSkipPathVerify{ true };
std::atomic<bool> s_bAllowMainThreadOpen{ false };
// Handles given out and not yet closed.
std::atomic<int32> s_nOpenFiles{ 0 };

struct SVerifyEntry
{
    CString _Path;
    bool _bSkip;
};

struct SVerifyThread
{
    NThreads::ThreadHandle _VerifyPathThreadHandle = nullptr;
    CMutex _Mutex{ "physfs_verify" };
    NPlatform::CConditionVariable _Condition;
    CQorArray<SVerifyEntry> _Queue;
    bool _bStopVerify = false;
    bool _bVerifyThreadWaiting = false;
    std::atomic<bool> _bRunning{ false };
};
SVerifyThread s_Verify;

struct SPreEnumeration
{
    CString _Dir;
    CString _Extension;
    CString _Mask;
    int32 _MaxDepth;
    CQorArray<CString> _Result;
    CQorPtr<CTask> _pTask;
};
NQorUnorderedMap::CQorUnorderedMap<std::string, SPreEnumeration*> PreEnumeratedFiles;
CReadWriteSpinLock s_PreEnumerationLock;

const char* ErrorOr( const char* pText, const char* pPlaceholder )
{
    return pText ? pText : pPlaceholder;
}

// A path PhysFS is asked about: the view's text with a terminating zero.
std::string ToPath( CQorStringView Path )
{
    return std::string( Path.GetData() ? Path.GetData() : "", size_t( Path.GetSize() ) );
}

// Waits, without giving up the processor, until Bytes at Limit MB/s have taken their time since Start.
void Throttle( uint64 StartNs, uint64 Bytes, float Limit )
{
    const float Seconds = float( Bytes ) / float( c_MegaByte ) / Limit;
    const uint64 EndNs = StartNs + uint64( double( Seconds ) * 1e9 );
    while ( NPlatform::GetHighResolutionTimeNs() < EndNs )
    {
        std::this_thread::yield();
    }
}

bool CheckPathCase( const CString& Path, bool bSkip )
{
    if ( bSkip )
    {
        return true;
    }
    CString Lower = Path;
    Lower.ToLower();
    if ( !( Lower == Path ) && Path.Find( "/FX" ) == -1 && Path.Find( "shadercache" ) == -1 &&
         Path.Find( "save games" ) == -1 )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "File '%s' contains uppercase characters", Path.GetData() );
    }
    return true;
}

uint32 VerifyThreadMain( void* )
{
    SVerifyThread& Verify = s_Verify;
    NDetail::SBasicLockableMutex Lockable{ Verify._Mutex };
    Verify._Mutex.Lock();
    while ( !Verify._bStopVerify )
    {
        if ( Verify._Queue.IsEmpty() )
        {
            Verify._bVerifyThreadWaiting = true;
            Verify._Condition.Wait( Lockable );
            Verify._bVerifyThreadWaiting = false;
            continue;
        }
        // Last in, first out: the newest path is the one the program is waiting to open.
        SVerifyEntry Entry = std::move( Verify._Queue.Back() );
        Verify._Queue.PopBack();
        Verify._Mutex.Unlock();
        CheckPathCase( Entry._Path, Entry._bSkip );
        Verify._Mutex.Lock();
    }
    Verify._Queue.Clear();
    Verify._Queue.ShrinkToFit();
    Verify._Mutex.Unlock();
    return 0;
}

bool IsWellFormedPath( CQorStringView Name )
{
    if ( Name.IsEmpty() || Name.Find( '\\' ) != -1 )
    {
        return false;
    }
    return std::find( Name.begin(), Name.end(), '\0' ) == Name.end();
}

// Creates everything up to the last '/' under the write directory: empty, or the text of the failure.
CString CreateParentDirectories( const std::string& Name )
{
    if ( !Name.empty() && Name[ 0 ] == '/' )
    {
        QOR_ASSERT_MSG( false, "Attempted create a path with an absolute folder!" );
        return CString( "Attempted create a path with an absolute folder!" );
    }
    const size_t nSlash = Name.rfind( '/' );
    if ( nSlash == std::string::npos || nSlash == 0 )
    {
        return CString();
    }
    if ( PHYSFS_mkdir( Name.substr( 0, nSlash ).c_str() ) == 0 )
    {
        const CString Error( NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        QOR_ASSERT_MSG( false, "%s", Error.GetData() );
        return Error;
    }
    return CString();
}

struct SEnumerateState
{
    const CQorStringView Extension;
    const CQorStringView Mask;
    const int32 MaxDepth;
    CQorArray<CString>& Out;
};

struct SDirectoryListing
{
    std::string Dir;
    CQorArray<CString> Files;
    CQorArray<CString> SubDirs;
    int32 nLowestArchive = INT_MAX;
};

bool CollectName( void* pUser, const char*, const char* pName, int32 nArchive )
{
    SDirectoryListing& Listing = *static_cast<SDirectoryListing*>( pUser );
    Listing.nLowestArchive = std::min( Listing.nLowestArchive, nArchive );
    CString Path( Listing.Dir.empty() ? std::string( pName ) : Listing.Dir + "/" + pName );
    PHYSFS_Stat Stat;
    if ( PHYSFS_stat( Path.GetData(), &Stat ) == 0 )
    {
        QOR_ASSERT_MSG( false, "Unable to determine the type of file %s", Path.GetData() );
        return true;
    }
    switch ( Stat.filetype )
    {
    case PHYSFS_FILETYPE_REGULAR:
        Listing.Files.Add( std::move( Path ) );
        break;
    case PHYSFS_FILETYPE_DIRECTORY:
        Listing.SubDirs.Add( std::move( Path ) );
        break;
    case PHYSFS_FILETYPE_SYMLINK:
        QOR_ASSERT_MSG( false, "Should probably not be ignored" );
        break;
    default:
        QOR_ASSERT_MSG( false, "Should never happen" );
        break;
    }
    return true;
}

void EnumerateRecursive( const std::string& Dir, const SEnumerateState& State, int32 Depth )
{
    if ( State.MaxDepth >= 1 && Depth >= State.MaxDepth )
    {
        QOR_ASSERT_MSG( false, "Reached max depth when enumerating files recursive: %.*s", int( Dir.size() ),
                        Dir.data() );
        return;
    }
    SDirectoryListing Listing;
    Listing.Dir = Dir;
    while ( !Listing.Dir.empty() && Listing.Dir.back() == '/' )
    {
        Listing.Dir.pop_back();
    }
    if ( !NPhysFSLayer::EnumerateWithOrigin( Dir.c_str(), &CollectName, &Listing ) )
    {
        const char* pError = NPhysFSLayer::GetLastErrorText();
        QOR_ASSERT_MSG( false, "Error enumerating directory %.*s: %s", int( Dir.size() ), Dir.data(),
                        ErrorOr( pError, "Unknown error" ) );
        return;
    }
    // Every name comes from some entry of the search path; a name without one would mean the search path
    // changed under the enumeration.
    if ( !Listing.Files.IsEmpty() || !Listing.SubDirs.IsEmpty() )
    {
        const int32 nArchive = Listing.nLowestArchive;
        QOR_ASSERT( nArchive != INT_MAX );
    }
    GetIOStats().Add( SQorIOStatsTraits::DIRECTORIES_ENUMERATED );
    GetIOStats().Add( SQorIOStatsTraits::FILES_ENUMERATED, uint64( Listing.Files.GetSize() ) );
    for ( CString& File : Listing.Files )
    {
        const CQorStringView FileView( File );
        if ( !State.Extension.IsEmpty() && !FileView.EndsWith( State.Extension ) )
        {
            continue;
        }
        if ( !State.Mask.IsEmpty() )
        {
            const int32 nSlash = FileView.FindLastOf( '/' );
            if ( !NVFS::MatchesMask( FileView.Substr( nSlash + 1 ), State.Mask ) )
            {
                continue;
            }
        }
        State.Out.Add( std::move( File ) );
    }
    for ( const CString& SubDir : Listing.SubDirs )
    {
        EnumerateRecursive( SubDir.GetStdString(), State, Depth + 1 );
    }
}

void EnumerateUncached( CQorStringView Dir, CQorArray<CString>& Out, CQorStringView Extension, CQorStringView Mask,
                        int32 MaxDepth )
{
    Out.Clear();
    Out.Reserve( 256 );
    const SEnumerateState State{ Extension, Mask, MaxDepth, Out };
    EnumerateRecursive( ToPath( Dir ), State, 0 );
}

const char* OrNull( const CString& Text )
{
    return Text.IsEmpty() ? "NULL" : Text.GetData();
}

std::string PreEnumerationKey( CQorStringView Dir, CQorStringView Extension, CQorStringView Mask, int32 MaxDepth )
{
    const CString DirText( Dir ), ExtensionText( Extension ), MaskText( Mask );
    return std::string( OrNull( DirText ) ) + "|" + OrNull( ExtensionText ) + "|" + OrNull( MaskText ) + "|" +
           std::to_string( MaxDepth );
}

// A tree path below the write directory: relative, '/' only, no '.' or '..' parts, no NUL. Empty is the root.
bool IsWriteDirPath( const std::string& Path )
{
    const bool bBadCharacter = Path.find_first_of( std::string_view( "\\\0", 2 ) ) != std::string::npos;
    if ( bBadCharacter || ( !Path.empty() && Path[ 0 ] == '/' ) )
    {
        return false;
    }
    for ( size_t Start = 0; Start <= Path.size(); )
    {
        const size_t End = std::min( Path.find( '/', Start ), Path.size() );
        const std::string_view Part( Path.data() + Start, End - Start );
        if ( Part == "." || Part == ".." )
        {
            return false;
        }
        Start = End + 1;
    }
    return true;
}

// A name PhysFS can be asked about: well-formed UTF-8 without its two forbidden characters.
bool IsAddressableName( const std::string& Name )
{
    if ( Name.find_first_of( "\\:" ) != std::string::npos )
    {
        return false;
    }
    std::vector<uint32> CodePoints( Name.size() );
    const uint8* pSource = reinterpret_cast<const uint8*>( Name.data() );
    uint32* pTarget = CodePoints.data();
    return ConvertUTF8toUTF32( &pSource, pSource + Name.size(), &pTarget, pTarget + CodePoints.size() ) ==
           EConversionResult::ConversionOK;
}

bool DeleteTree( const std::string& Path, const std::filesystem::path& RealPath )
{
    bool bOk = true;
    std::error_code Error;
    for ( std::filesystem::directory_iterator It( RealPath, Error ), End; !Error && It != End; It.increment( Error ) )
    {
        const std::string Name = It->path().filename().string();
        char Child[ 4096 ];
        snprintf( Child, sizeof( Child ), "%s/%s", Path.c_str(), Name.c_str() );
        if ( It->is_directory( Error ) && !It->is_symlink( Error ) )
        {
            bOk = DeleteTree( Child, It->path() ) && bOk;
        }
        else if ( PHYSFS_delete( Child ) == 0 )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "Failed to delete directory '%s': %s", Child, NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
            bOk = false;
        }
    }
    if ( PHYSFS_delete( Path.c_str() ) == 0 )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Failed to delete directory '%s': %s", Path.c_str(), NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        bOk = false;
    }
    return bOk;
}
} // namespace

CQorIOStats& GetIOStats()
{
    static CQorIOStats s_Stats;
    return s_Stats;
}

bool VFSInit( const char* pArgv0, const char* pUserDirName, bool bMountDefaults )
{
    QOR_ASSERT( !PHYSFS_isInit() );
    if ( PHYSFS_isInit() )
    {
        return false;
    }
    int64 Mb = std::max<int64>( 32, NThreads::GetHardwareThreadCount() + 32 );
    CString IoMemory;
    if ( const CQorCommandLine* pCommandLine = CQorCommandLine::Find();
         pCommandLine && pCommandLine->GetArgument( "io_memory_mb", IoMemory ) && IoMemory.IsInteger() )
    {
        Mb = std::max<int64>( 32, IoMemory.ToInt64() );
    }
    if ( NPhysFSLayer::GetAllocator() == nullptr )
    {
        NPhysFSLayer::InstallAllocator( uint64( Mb ) * c_MegaByte );
    }
    if ( PHYSFS_init( pArgv0 ) == 0 )
    {
        const char* pError = NPhysFSLayer::GetLastErrorText();
        QOR_ASSERT_MSG( false, "%s", ErrorOr( pError, "<error>" ) );
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ), "Error initialising VFS: %s",
                   ErrorOr( pError, "<error>" ) );
        NPhysFSLayer::DestroyAllocator();
        return false;
    }
    PHYSFS_permitSymbolicLinks( 1 );
    if ( pUserDirName != nullptr )
    {
        CString UserDir;
        if ( !VFSGetUserDir( pUserDirName, UserDir ) )
        {
            return false;
        }
        return NPhysFSLayer::SetWriteDir( UserDir.GetData() );
    }
    if ( bMountDefaults )
    {
        VFSMountDefaultDirs( nullptr );
    }
    return true;
}

bool VFSShutdown()
{
    const int32 nOpenFiles = s_nOpenFiles.load();
    QOR_ASSERT_MSG( nOpenFiles == 0, "%d files are still open; the file system stays up", nOpenFiles );
    if ( nOpenFiles != 0 )
    {
        return false;
    }
    VFSStopVerifyThread();
    VFSClearPreEnumerations();
    NPhysFSLayer::ClearSearchPath();
    s_GameDataDirs.Clear();
    s_MountedPrefixes.Clear();
    if ( !PHYSFS_isInit() )
    {
        return false;
    }
    const bool bDeinit = PHYSFS_deinit() != 0;
    if ( bDeinit )
    {
        NPhysFSLayer::UnfreezeConfig();
        NPhysFSLayer::DestroyAllocator();
    }
    return bDeinit;
}

bool VFSIsInitialised()
{
    return PHYSFS_isInit() != 0;
}

bool VFSGetUserDir( const char* pName, CString& Out )
{
    // PhysFS makes the folder and its parents when missing, and gives it in UTF-8 with a trailing '/'. Its
    // Unix form leaves the organisation out ($XDG_DATA_HOME/<app>/), so "Quorlax" leads the application part.
    const CString App = CString( "Quorlax/" ) + CQorStringView( pName ? pName : "" );
    const char* pDir = pName && *pName ? PHYSFS_getPrefDir( "Quorlax", App.GetData() ) : nullptr;
    if ( pDir == nullptr || CQorStringView( pDir ).GetSize() >= 520 )
    {
        QOR_ASSERT_MSG( false, "!\"Could not write to user directory\"" );
        return false;
    }
    Out = CString( pDir );
    return true;
}

bool VFSMountDefaultDirs( const char* pBase )
{
    static const char* const c_DefaultDirs[] = { "../halvorsund", "", "../orlimo", "", "" };
    CQorArray<CString> Group;
    for ( const char* pEntry : c_DefaultDirs )
    {
        if ( *pEntry != '\0' )
        {
            Group.Add( CString( pEntry ) );
        }
        else if ( !Group.IsEmpty() )
        {
            VFSMountGameDataDir( pBase, Group, nullptr );
            Group.Clear();
        }
    }
    Group.Add( CString( "../game/" ) );
    Group.Add( CString( "../../game/" ) );
    Group.Add( CString( "../../../game/" ) );
    VFSMountGameDataDir( pBase, Group, nullptr );
    return true;
}

bool VFSMountGameDataDir( const char* pBase, const CQorArray<CString>& Candidates, const char* pSubDir )
{
    CString Root( pBase ? pBase : PHYSFS_getBaseDir() );
    if ( !Root.IsEmpty() && Root[ Root.GetSize() - 1 ] != '/' && Root[ Root.GetSize() - 1 ] != '\\' )
    {
        Root += '/';
    }
    CString Mounted;
    if ( pSubDir != nullptr )
    {
        CString Path = Root + CQorStringView( pSubDir );
        Path.Replace( '\\', '/' );
        if ( NPhysFSLayer::Mount( Path.GetData(), nullptr, false ) )
        {
            Mounted = Path;
        }
    }
    else
    {
        for ( const CString& Candidate : Candidates )
        {
            CString Path = Root + Candidate;
            Path.Replace( '\\', '/' );
            if ( NPhysFSLayer::Mount( Path.GetData(), nullptr, false ) )
            {
                Mounted = Path;
                break;
            }
        }
    }
    if ( !Mounted.IsEmpty() )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ), "Mounted Data: %s",
                   Mounted.GetData() );
        s_GameDataDirs.Add( Mounted );
    }
    else
    {
        CString Joined;
        for ( const CString& Candidate : Candidates )
        {
            if ( !Joined.IsEmpty() )
            {
                Joined += ", ";
            }
            Joined += Candidate;
        }
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ),
                   "Failed to mount game dir from candidates: %s", Joined.GetData() );
    }
    NPhysFSLayer::RefreshSearchPath();
    return !Mounted.IsEmpty();
}

bool VFSMountDir( const char* pPath )
{
    if ( pPath == nullptr )
    {
        return false;
    }
    if ( NPhysFSLayer::Mount( pPath, nullptr, false ) )
    {
        return true;
    }
    if ( !NPhysFSLayer::IsConfigFrozen() )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Failed to mount '%s': %s", pPath,
                   NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
    }
    return false;
}

bool VFSMountMemory( const void* pData, uint64 Size, const char* pName )
{
    if ( pData == nullptr || pName == nullptr )
    {
        return false;
    }
    if ( !NPhysFSLayer::MountMemory( pData, Size, pName ) )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ), "Failed to mount '%s': %s", pName,
                   NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        return false;
    }
    return true;
}

bool VFSUnmount( const char* pPath )
{
    return pPath != nullptr && NPhysFSLayer::Unmount( pPath );
}

const CQorArray<CString>& VFSGetGameDataDirs()
{
    return s_GameDataDirs;
}

CString VFSGetLastGameDataDir()
{
    QOR_ASSERT_MSG( !s_GameDataDirs.IsEmpty(), "No GameDataDirs mounted!" );
    return s_GameDataDirs.IsEmpty() ? CString() : s_GameDataDirs.Back();
}

bool VFSReplaceGameDataDir( int32 TailIndex, int32 OriginalTailIndex )
{
    const int32 nDirs = s_GameDataDirs.GetSize();
    QOR_ASSERT_MSG( TailIndex >= 0 && TailIndex < nDirs,
                    "Tail index out of bounds of mounted game data directory array. Index '%i'", TailIndex );
    QOR_ASSERT_MSG( OriginalTailIndex >= 0 && OriginalTailIndex < nDirs,
                    "Original tail index out of bounds of mounted game data directory array. Index '%i'",
                    OriginalTailIndex );
    if ( TailIndex < 0 || TailIndex >= nDirs || OriginalTailIndex < 0 || OriginalTailIndex >= nDirs )
    {
        return false;
    }
    if ( TailIndex == OriginalTailIndex )
    {
        return true;
    }
    const int32 nReplaced = nDirs - 1 - TailIndex;
    const int32 nReplacing = nDirs - 1 - OriginalTailIndex;
    if ( !NPhysFSLayer::ReplaceEntry( s_GameDataDirs[ nReplaced ].GetData(), s_GameDataDirs[ nReplacing ].GetData() ) )
    {
        if ( !NPhysFSLayer::IsConfigFrozen() )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "Failed to replace game data dir '%s' by '%s': %s", s_GameDataDirs[ nReplaced ].GetData(),
                       s_GameDataDirs[ nReplacing ].GetData(), NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        }
        return false;
    }
    s_GameDataDirs[ nReplaced ] = s_GameDataDirs[ nReplacing ];
    s_GameDataDirs.Remove( nReplacing );
    return true;
}

CQorArray<CString> VFSGetSearchPath()
{
    return NPhysFSLayer::GetSearchPath();
}

CString VFSGetWriteDir()
{
    const char* pDir = PHYSFS_isInit() ? PHYSFS_getWriteDir() : nullptr;
    return CString( pDir ? pDir : "" );
}

void VFSFreezeConfig()
{
    NPhysFSLayer::FreezeConfig();
}

bool VFSIsConfigFrozen()
{
    return NPhysFSLayer::IsConfigFrozen();
}

CVFSOpenResult VFSOpen( CQorStringView Name, uint32 Mode, uint64 BufferSize )
{
    const std::string Path = ToPath( Name );
    if ( !IsWellFormedPath( Name ) || !VFSVerifyPath( Name ) )
    {
        CString Error = CString( Name ) + " is not a valid file name or path";
        QOR_ASSERT_MSG( false, "%s", Error.GetData() );
        return CVFSOpenResult::Failure( std::move( Error ) );
    }
    QOR_ASSERT_MSG( s_bAllowMainThreadOpen.load() || !NThreads::IsMainThread(),
                    "Opening file on main thread, this will cause stalls and should be avoided" );
    PHYSFS_File* pHandle = nullptr;
    {
        CScopedLock<CMutex> Lock( &s_CloseMutex );
        switch ( Mode )
        {
        case CFile::OPEN_READ:
            pHandle = PHYSFS_openRead( Path.c_str() );
            GetIOStats().Add( SQorIOStatsTraits::OPENS_FOR_READ );
            break;
        case CFile::OPEN_WRITE:
        case CFile::OPEN_WRITE_APPEND:
            if ( const CString Error = CreateParentDirectories( Path ); !Error.IsEmpty() )
            {
                return CVFSOpenResult::Failure( CString( "VFSOpen Error: " ) + Name + " " + Error );
            }
            pHandle = Mode == CFile::OPEN_WRITE ? PHYSFS_openWrite( Path.c_str() ) : PHYSFS_openAppend( Path.c_str() );
            GetIOStats().Add( Mode == CFile::OPEN_WRITE ? SQorIOStatsTraits::OPENS_FOR_WRITE : SQorIOStatsTraits::OPENS_FOR_APPEND );
            break;
        default:
            QOR_ASSERT_MSG( false, "Operation not implemented" );
            return CVFSOpenResult::Failure( "Operation not implemented" );
        }
    }
    if ( pHandle == nullptr )
    {
        return CVFSOpenResult::Failure( CString( "VFSOpen Error: " ) + Name + " " +
                                         NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
    }
    if ( BufferSize != 0 && PHYSFS_setBuffer( pHandle, BufferSize ) == 0 )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Error setting buffer for file: %s. File may not read/write correctly.", Path.c_str() );
        QOR_ASSERT_MSG( false, "Error setting buffer for file." );
        CScopedLock<CMutex> Lock( &s_CloseMutex );
        PHYSFS_close( pHandle );
        return CVFSOpenResult::Failure( "Error setting buffer for file." );
    }
    SVFSFile* pFile = new SVFSFile{ pHandle, Mode != CFile::OPEN_READ };
    s_nOpenFiles.fetch_add( 1 );
    return CVFSOpenResult::Success( pFile );
}

void VFSClose( SVFSFile* pFile )
{
    if ( pFile == nullptr )
    {
        return;
    }
    {
        CScopedLock<CMutex> Lock( &s_CloseMutex );
        if ( PHYSFS_close( pFile->_pFile ) == 0 )
        {
            // The handle stays open in PhysFS when its buffer can't be written out; the library's record goes
            // all the same, and PhysFS closes it at deinit.
            QOR_ASSERT_MSG( false, "%s", NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        }
    }
    delete pFile;
    s_nOpenFiles.fetch_sub( 1 );
}

uint64 VFSRead( SVFSFile* pFile, void* pData, uint64 Size )
{
    QOR_ASSERT( pFile );
    if ( pFile == nullptr )
    {
        return 0;
    }
    const float Limit = g_VFSReadLimit;
    const uint64 StartNs = Limit > 0.0f ? NPlatform::GetHighResolutionTimeNs() : 0;
    const PHYSFS_sint64 nRead = PHYSFS_readBytes( pFile->_pFile, pData, Size );
    const uint64 nBytes = nRead < 0 ? 0 : uint64( nRead );
    GetIOStats().Add( SQorIOStatsTraits::BYTES_READ, nBytes );
    if ( Limit > 0.0f )
    {
        Throttle( StartNs, nBytes, Limit );
    }
    return nBytes;
}

uint64 VFSWrite( SVFSFile* hFile, const void* pData, uint64 Size )
{
    QOR_ASSERT( hFile && hFile->_bIsWriteMode );
    if ( hFile == nullptr || !hFile->_bIsWriteMode )
    {
        return 0;
    }
    const float Limit = g_VFSWriteLimit;
    const uint64 StartNs = Limit > 0.0f ? NPlatform::GetHighResolutionTimeNs() : 0;
    const bool bWritten = PHYSFS_writeBytes( hFile->_pFile, pData, Size ) == PHYSFS_sint64( Size );
    GetIOStats().Add( SQorIOStatsTraits::BYTES_WRITTEN, Size );
    if ( Limit > 0.0f )
    {
        Throttle( StartNs, Size, Limit );
    }
    return bWritten ? Size : 0;
}

bool VFSFlush( SVFSFile* pFile )
{
    return pFile != nullptr && PHYSFS_flush( pFile->_pFile ) != 0;
}

CString VFSGetLastErrorText()
{
    return CString( ErrorOr( NPhysFSLayer::GetLastErrorText(), "" ) );
}

bool VFSSeek( SVFSFile* pFile, int64 Offset, int32 Origin )
{
    QOR_ASSERT( pFile );
    if ( pFile == nullptr )
    {
        return false;
    }
    int64 Base = 0;
    if ( Origin == 1 )
    {
        Base = PHYSFS_tell( pFile->_pFile );
    }
    else if ( Origin == 2 )
    {
        Base = PHYSFS_fileLength( pFile->_pFile );
    }
    else
    {
        QOR_ASSERT( Origin == 0 );
    }
    const int64 Position = Base + Offset;
    if ( Base < 0 || Position < 0 )
    {
        return false;
    }
    return PHYSFS_seek( pFile->_pFile, uint64( Position ) ) != 0;
}

int64 VFSTell( SVFSFile* pFile )
{
    return pFile ? PHYSFS_tell( pFile->_pFile ) : -1;
}

bool VFSEof( SVFSFile* pFile )
{
    return pFile == nullptr || PHYSFS_eof( pFile->_pFile ) != 0;
}

int64 VFSFileSize( SVFSFile* hFile )
{
    QOR_ASSERT( hFile );
    return hFile ? PHYSFS_fileLength( hFile->_pFile ) : -1;
}

uint32 VFSChecksum( SVFSFile* pFile, int32 MaxSize )
{
    if ( pFile == nullptr || !VFSSeek( pFile, 0, 0 ) )
    {
        return 0;
    }
    constexpr uint64 c_BufferSize = 0x40000;
    CQorArray<uint8> Buffer;
    Buffer.Resize( int32( c_BufferSize ) );
    uint32 SumA = 0;
    uint32 SumB = 0;
    uint64 nLeft = MaxSize < 0 ? UINT64_MAX : uint64( MaxSize );
    while ( nLeft > 0 )
    {
        const uint64 nRead = VFSRead( pFile, Buffer.GetData(), std::min( nLeft, c_BufferSize ) );
        if ( nRead == 0 )
        {
            break;
        }
        NFile::AddToChecksum( SumA, SumB, Buffer.GetData(), int64( nRead ) );
        nLeft -= nRead;
    }
    return NFile::CombineChecksum( SumA, SumB );
}

bool VFSExists( CQorStringView Path )
{
    QOR_ASSERT( Path.GetSize() > 0 );
    if ( Path.IsEmpty() )
    {
        return false;
    }
    VFSVerifyPath( Path );
    return PHYSFS_exists( ToPath( Path ).c_str() ) != 0;
}

CString VFSRealDir( CQorStringView Path )
{
    const char* pDir = PHYSFS_getRealDir( ToPath( Path ).c_str() );
    return CString( pDir ? pDir : "" );
}

bool VFSStat( CQorStringView Path, uint64* pModifiedTime, bool* pbIsDirectory )
{
    PHYSFS_Stat Stat;
    if ( PHYSFS_stat( ToPath( Path ).c_str(), &Stat ) == 0 )
    {
        return false;
    }
    if ( pModifiedTime )
    {
        *pModifiedTime = Stat.modtime < 0 ? 0 : uint64( Stat.modtime );
    }
    if ( pbIsDirectory )
    {
        *pbIsDirectory = Stat.filetype == PHYSFS_FILETYPE_DIRECTORY;
    }
    return true;
}

bool VFSMakeDir( CQorStringView Path )
{
    return PHYSFS_mkdir( ToPath( Path ).c_str() ) != 0;
}

bool VFSDelete( CQorStringView Path )
{
    return PHYSFS_delete( ToPath( Path ).c_str() ) != 0;
}

bool VFSDeleteDir( CQorStringView Path )
{
    const char* pWriteDir = PHYSFS_getWriteDir();
    if ( pWriteDir == nullptr || Path.IsEmpty() )
    {
        return false;
    }
    std::string Dir = ToPath( Path );
    while ( !Dir.empty() && Dir.back() == '/' )
    {
        Dir.pop_back();
    }
    // PhysFS refuses names that climb out of the write directory; the tree is walked only once it accepts
    // the directory itself.
    PHYSFS_Stat Stat;
    if ( PHYSFS_stat( Dir.c_str(), &Stat ) == 0 || Stat.filetype != PHYSFS_FILETYPE_DIRECTORY )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Failed to delete directory '%s': %s", Dir.c_str(), NPhysFSLayer::GetLastErrorTextOrPlaceholder() );
        return false;
    }
    return DeleteTree( Dir, std::filesystem::path( pWriteDir ) / Dir );
}

bool VFSCreateDir( CQorStringView Path )
{
    if ( PHYSFS_mkdir( ToPath( Path ).c_str() ) == 0 )
    {
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Could not create or read directory: %.*s", Path.GetSize(), Path.GetData() );
        return false;
    }
    return true;
}

bool VFSCopyFile( const char* pSourcePath, CQorStringView DestName )
{
    QOR_ASSERT_MSG( pSourcePath && pSourcePath[ 0 ] == '/', "File Path is not absolute" );
    if ( pSourcePath == nullptr || pSourcePath[ 0 ] != '/' )
    {
        return false;
    }
    const SLogLocation Location( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR );
    const NPlatform::FileHandle Source = NPlatform::OpenFile( pSourcePath, 0 );
    if ( Source == NPlatform::INVALID_FILE_HANDLE )
    {
        const std::string Reason = std::error_code( errno, std::generic_category() ).message();
        LogPrintf( Location, "Failed to open file '%s' for reading while copying file due to '%s'", pSourcePath,
                   Reason.c_str() );
        return false;
    }
    CVFSOpenResult Target = VFSOpen( DestName, CFile::OPEN_WRITE, 0 );
    if ( Target.IsFailure() )
    {
        LogPrintf( Location, "Failed to open file '%.*s' for writing while copying file due to '%s'",
                   DestName.GetSize(), DestName.GetData(), Target.GetError().GetData() );
        NPlatform::CloseFile( Source );
        return false;
    }
    SVFSFile* pTarget = Target.MoveValue();
    CQorArray<uint8> Block;
    Block.Resize( int32( c_MegaByte ) );
    bool bOk = true;
    for ( ;; )
    {
        const int64 nRead = NPlatform::ReadFile( Source, Block.GetData(), Block.GetSize() );
        if ( nRead < 0 )
        {
            LogPrintf( Location, "Failed to read from file '%s' while copying file", pSourcePath );
            bOk = false;
            break;
        }
        if ( nRead == 0 )
        {
            break;
        }
        if ( VFSWrite( pTarget, Block.GetData(), uint64( nRead ) ) != uint64( nRead ) )
        {
            LogPrintf( Location, "Failed to write to file '%.*s' while copying file", DestName.GetSize(),
                       DestName.GetData() );
            bOk = false;
            break;
        }
    }
    VFSClose( pTarget );
    NPlatform::CloseFile( Source );
    return bOk;
}

CVFSListResult VFSListWriteDir( CQorStringView Dir )
{
    const char* pWriteDir = PHYSFS_isInit() ? PHYSFS_getWriteDir() : nullptr;
    if ( pWriteDir == nullptr )
    {
        return CVFSListResult::Failure( "No write directory" );
    }
    const std::string Path = ToPath( Dir );
    if ( !IsWriteDirPath( Path ) )
    {
        CString Error = CString( Dir ) + " is not a valid file name or path";
        QOR_ASSERT_MSG( false, "%s", Error.GetData() );
        return CVFSListResult::Failure( std::move( Error ) );
    }
    std::vector<std::string> Names;
    std::error_code Error;
    for ( std::filesystem::directory_iterator It( std::filesystem::path( pWriteDir ) / Path, Error ), End;
          !Error && It != End; It.increment( Error ) )
    {
        // A link that leads nowhere is no directory, and no reason to fail the listing.
        std::error_code EntryError;
        if ( It->is_directory( EntryError ) )
        {
            Names.push_back( It->path().filename().string() );
        }
    }
    if ( Error )
    {
        return CVFSListResult::Failure( CString( "Could not read directory: " ) + Dir );
    }
    std::sort( Names.begin(), Names.end() );
    CQorArray<CString> Out;
    Out.Reserve( int32( Names.size() ) );
    for ( const std::string& Name : Names )
    {
        if ( !IsAddressableName( Name ) )
        {
            QOR_ASSERT_MSG( false, "Invalid directory name found" );
            return CVFSListResult::Failure( CString( "Invalid directory name found: " ) + CString( Name ) );
        }
        Out.Add( CString( Name ) );
    }
    return CVFSListResult::Success( std::move( Out ) );
}

bool VFSRename( CQorStringView OldName, CQorStringView NewName )
{
    QOR_ASSERT( NewName.Find( "\\" ) == -1 && "\\ is not allowed, use forward slash" );
    QOR_ASSERT_MSG( OldName.GetSize() >= NewName.GetSize(), "Old path is shorter than new, fix this(currently not supported" );
    const char* pWriteDir = PHYSFS_getWriteDir();
    if ( pWriteDir == nullptr || NewName.Find( '\\' ) != -1 || OldName.GetSize() < NewName.GetSize() )
    {
        return false;
    }
    // PhysFS has no rename. Both names stay inside the write directory: neither may be absolute or climb.
    const std::string Old = ToPath( OldName );
    const std::string New = ToPath( NewName );
    for ( const std::string* pName : { &Old, &New } )
    {
        if ( pName->empty() || ( *pName )[ 0 ] == '/' || pName->find( ".." ) != std::string::npos )
        {
            return false;
        }
    }
    std::error_code Error;
    std::filesystem::rename( std::filesystem::path( pWriteDir ) / Old, std::filesystem::path( pWriteDir ) / New, Error );
    return !Error;
}

void VFSEnumerate( CQorStringView Dir, CQorArray<CString>& Out, CQorStringView Extension, CQorStringView Mask,
                   int32 MaxDepth )
{
    const std::string Key = PreEnumerationKey( Dir, Extension, Mask, MaxDepth );
    SPreEnumeration* pRecord = nullptr;
    {
        CScopedReadWriteLock Lock( &s_PreEnumerationLock );
        Lock.ReadLock();
        const bool bFound = PreEnumeratedFiles.Contains( Key );
        Lock.ReadUnlock();
        if ( bFound )
        {
            Lock.WriteLock();
            if ( SPreEnumeration** ppRecord = PreEnumeratedFiles.FindValue( Key ) )
            {
                pRecord = *ppRecord;
                PreEnumeratedFiles.Remove( Key );
            }
            Lock.WriteUnlock();
        }
    }
    if ( pRecord != nullptr )
    {
        WaitAndClear( pRecord->_pTask );
        Out = std::move( pRecord->_Result );
        delete pRecord;
        return;
    }
    EnumerateUncached( Dir, Out, Extension, Mask, MaxDepth );
}

void VFSPreEnumerate( CQorStringView Dir, CQorStringView Extension, CQorStringView Mask, int32 MaxDepth )
{
    const std::string Key = PreEnumerationKey( Dir, Extension, Mask, MaxDepth );
    CScopedReadWriteLock Lock( &s_PreEnumerationLock );
    Lock.ReadLock();
    const bool bFound = PreEnumeratedFiles.Contains( Key );
    Lock.ReadUnlock();
    if ( bFound )
    {
        return;
    }
    Lock.WriteLock();
    if ( PreEnumeratedFiles.Contains( Key ) )
    {
        return;
    }
    SPreEnumeration* pRecord = new SPreEnumeration{ CString( Dir ), CString( Extension ), CString( Mask ), MaxDepth, {}, {} };
    LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ), "Starting pre-enumerating '%s'(%s, %s, %d)",
               pRecord->_Dir.GetData(), OrNull( pRecord->_Extension ), OrNull( pRecord->_Mask ), MaxDepth );
    QOR_ASSERT( !PreEnumeratedFiles.Contains( Key ) );
    PreEnumeratedFiles.Insert( Key, pRecord );
    // The record is in the table before its task runs: a task on no pool runs here and now.
    RunLongTask( pRecord->_pTask, QOR_VFS_LOCATION, [ pRecord ]() {
        const uint64 StartNs = NPlatform::GetHighResolutionTimeNs();
        EnumerateUncached( pRecord->_Dir, pRecord->_Result, pRecord->_Extension, pRecord->_Mask, pRecord->_MaxDepth );
        const double Seconds = double( NPlatform::GetHighResolutionTimeNs() - StartNs ) / 1e9;
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_DEBUG ),
                   "Done enumerating '%s'(%s, %s, %d) in %.3f seconds", pRecord->_Dir.GetData(),
                   OrNull( pRecord->_Extension ), OrNull( pRecord->_Mask ), pRecord->_MaxDepth, Seconds );
    } );
    Lock.WriteUnlock();
}

void VFSClearPreEnumerations()
{
    CQorArray<SPreEnumeration*> Records;
    {
        CScopedReadWriteLock Lock( &s_PreEnumerationLock );
        Lock.WriteLock();
        for ( auto& Entry : PreEnumeratedFiles )
        {
            Records.Add( Entry.Value );
        }
        PreEnumeratedFiles.Clear();
        Lock.WriteUnlock();
    }
    for ( SPreEnumeration* pRecord : Records )
    {
        WaitAndClear( pRecord->_pTask );
        delete pRecord;
    }
}

bool VFSVerifyPath( CQorStringView Path )
{
    const bool bSkip = s_bSkipPathVerify.load();
    if ( s_Verify._bRunning.load() )
    {
        CScopedLock<CMutex> Lock( &s_Verify._Mutex );
        if ( s_Verify._VerifyPathThreadHandle != nullptr && !s_Verify._bStopVerify )
        {
            s_Verify._Queue.Add( SVerifyEntry{ CString( Path ), bSkip } );
            s_Verify._Condition.NotifyOne();
            return true;
        }
    }
    return CheckPathCase( CString( Path ), bSkip );
}

void VFSSetSkipPathVerify( bool bSkip )
{
    s_bSkipPathVerify.store( bSkip );
}

bool VFSGetSkipPathVerify()
{
    return s_bSkipPathVerify.load();
}

bool VFSStartVerifyThread()
{
    CScopedLock<CMutex> Lock( &s_Verify._Mutex );
    if ( s_Verify._VerifyPathThreadHandle != nullptr )
    {
        return false;
    }
    s_Verify._bStopVerify = false;
    s_Verify._VerifyPathThreadHandle = NThreads::CreateThread( &VerifyThreadMain, nullptr, "Verify Path" );
    s_Verify._bRunning.store( true );
    return true;
}

void VFSStopVerifyThread()
{
    NThreads::ThreadHandle Handle = nullptr;
    {
        CScopedLock<CMutex> Lock( &s_Verify._Mutex );
        Handle = s_Verify._VerifyPathThreadHandle;
        if ( Handle == nullptr )
        {
            return;
        }
        s_Verify._bStopVerify = true;
        s_Verify._Condition.NotifyAll();
    }
    NThreads::DestroyThread( Handle );
    CScopedLock<CMutex> Lock( &s_Verify._Mutex );
    s_Verify._VerifyPathThreadHandle = nullptr;
    s_Verify._bRunning.store( false );
}

bool VFSIsVerifyThreadRunning()
{
    return s_Verify._bRunning.load();
}

void VFSSetAllowMainThreadOpen( bool bAllow )
{
    s_bAllowMainThreadOpen.store( bAllow );
}

bool VFSGetAllowMainThreadOpen()
{
    return s_bAllowMainThreadOpen.load();
}

namespace NVFS
{
bool MatchesMask( CQorStringView Name, CQorStringView Mask )
{
    // Greedy match with one back-track point: the last '*' seen and where the name stood then.
    int32 nName = 0;
    int32 nMask = 0;
    int32 nStar = -1;
    int32 nStarName = 0;
    while ( nName < Name.GetSize() )
    {
        if ( nMask < Mask.GetSize() && ( Mask[ nMask ] == '?' || Mask[ nMask ] == Name[ nName ] ) )
        {
            ++nName;
            ++nMask;
        }
        else if ( nMask < Mask.GetSize() && Mask[ nMask ] == '*' )
        {
            nStar = nMask++;
            nStarName = nName;
        }
        else if ( nStar >= 0 )
        {
            nMask = nStar + 1;
            nName = ++nStarName;
        }
        else
        {
            return false;
        }
    }
    while ( nMask < Mask.GetSize() && Mask[ nMask ] == '*' )
    {
        ++nMask;
    }
    return nMask == Mask.GetSize();
}
} // namespace NVFS
