#pragma once

// Helpers of the file system tests: a fixture that starts the file system over a fresh temporary tree, with
// the user's folder inside it, and builders of real files and zip archives (Python's zipfile) at run time.

#include "qor_core/qor_string_view.h"
#include "qor_core/virtualfilesystem.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace NVFSTest
{
inline std::string ReadRealFile( const std::filesystem::path& Path )
{
    std::ifstream Stream( Path, std::ios::binary );
    std::ostringstream Text;
    Text << Stream.rdbuf();
    return Text.str();
}

// No text for null, else the one text: the expected reports of a table row.
inline std::vector<std::string> NoneOrOne( const char* pText )
{
    return pText ? std::vector<std::string>{ pText } : std::vector<std::string>{};
}

inline void WriteRealFile( const std::filesystem::path& Path, const std::string& Bytes )
{
    std::filesystem::create_directories( Path.parent_path() );
    std::ofstream( Path, std::ios::binary ) << Bytes;
}

// Every file below Dir, relative, sorted.
inline std::vector<std::string> ListRealTree( const std::filesystem::path& Dir )
{
    std::vector<std::string> Names;
    for ( const auto& Entry : std::filesystem::recursive_directory_iterator( Dir ) )
    {
        Names.push_back( std::filesystem::relative( Entry.path(), Dir ).string() );
    }
    std::sort( Names.begin(), Names.end() );
    return Names;
}

struct SZipEntry
{
    std::string Name;
    std::string Bytes;
};

// Builds a zip of the entries with Python's zipfile, names kept exactly as given ("../x", "/abs").
inline bool MakeZip( const std::filesystem::path& Zip, const std::vector<SZipEntry>& Entries, bool bDeflate )
{
    const std::filesystem::path Work = Zip.parent_path() / ( Zip.filename().string() + ".parts" );
    std::filesystem::create_directories( Work );
    WriteRealFile( Work / "make_zip.py",
                   "import sys, zipfile\n"
                   "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
                   "    for i in range(3, len(sys.argv), 2):\n"
                   "        info = zipfile.ZipInfo(open(sys.argv[i], 'rb').read().decode())\n"
                   "        info.compress_type = zipfile.ZIP_DEFLATED if sys.argv[2] == 'deflate' else zipfile.ZIP_STORED\n"
                   "        z.writestr(info, open(sys.argv[i + 1], 'rb').read())\n" );
    std::string Command = "python3 '" + ( Work / "make_zip.py" ).string() + "' '" + Zip.string() + "' " +
                          ( bDeflate ? "deflate" : "store" );
    for ( size_t i = 0; i < Entries.size(); ++i )
    {
        const std::filesystem::path NameFile = Work / ( "name" + std::to_string( i ) );
        const std::filesystem::path DataFile = Work / ( "data" + std::to_string( i ) );
        WriteRealFile( NameFile, Entries[ i ].Name );
        WriteRealFile( DataFile, Entries[ i ].Bytes );
        Command += " '" + NameFile.string() + "' '" + DataFile.string() + "'";
    }
    const bool bOk = std::system( Command.c_str() ) == 0;
    std::filesystem::remove_all( Work );
    return bOk;
}

// Builds a 7z archive of everything below Dir with Debian's 7-Zip (7zz), names relative to Dir.
inline bool MakeSevenZip( const std::filesystem::path& Archive, const std::filesystem::path& Dir )
{
    const std::string Command = "cd '" + Dir.string() + "' && 7zz a -t7z -bd -bso0 -bsp0 '" + Archive.string() + "' . >/dev/null";
    return std::system( Command.c_str() ) == 0;
}

// Starts the file system with its user folder "vfs_test" under Root/xdg, over a fresh temporary Root.
class CVFSFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char Template[] = "/tmp/qor_vfs_test_XXXXXX";
        ASSERT_NE( mkdtemp( Template ), nullptr );
        Root = Template;
        setenv( "XDG_DATA_HOME", ( Root / "xdg" ).c_str(), 1 );
        VFSSetAllowMainThreadOpen( true );
        ASSERT_TRUE( VFSInit( nullptr, "vfs_test", false ) );
        WriteDir = VFSGetWriteDir().GetStdString();
    }
    void TearDown() override
    {
        EXPECT_TRUE( VFSShutdown() );
        VFSSetSkipPathVerify( true );
        g_VFSReadLimit = 0.0f;
        g_VFSWriteLimit = 0.0f;
        std::filesystem::remove_all( Root );
    }

    // Reads the whole file through the file system; empty when it can't be opened.
    static std::string ReadVFSFile( CQorStringView Name )
    {
        CVFSOpenResult Result = VFSOpen( Name, 0, 0 );
        if ( Result.IsFailure() )
        {
            return {};
        }
        SVFSFile* pFile = Result.MoveValue();
        std::string Bytes( size_t( VFSFileSize( pFile ) ), '\0' );
        Bytes.resize( size_t( VFSRead( pFile, Bytes.data(), Bytes.size() ) ) );
        VFSClose( pFile );
        return Bytes;
    }

    std::filesystem::path Root;
    std::string WriteDir;
};
} // namespace NVFSTest
