#pragma once

// Helpers of the command line tests: the command line of "prog" and some arguments for one scope, and a fresh
// working directory that goes away with what the test left in it.

#include "qor_core/qor_commandline.h"
#include "tests/log_test_utils.h"

#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

class CCommandLineScope
{
public:
    explicit CCommandLineScope( const std::vector<std::string>& Arguments, const std::string& Program = "prog" )
    {
        std::vector<const char*> Argv{ Program.c_str() };
        for ( const std::string& Argument : Arguments )
        {
            Argv.push_back( Argument.c_str() );
        }
        _bCreated = CQorCommandLine::Create( int( Argv.size() ), Argv.data() );
    }
    ~CCommandLineScope() { CQorCommandLine::Destroy(); }

    bool IsCreated() const { return _bCreated; }
    const CQorCommandLine& Get() const { return CQorCommandLine::Get(); }

private:
    bool _bCreated;
};

class CTempWorkingDirectory
{
public:
    CTempWorkingDirectory()
        : _Previous( std::filesystem::current_path() ),
          _Path( std::filesystem::temp_directory_path() / ( "qor_core_test_cwd_" + std::to_string( ::getpid() ) ) )
    {
        std::filesystem::remove_all( _Path );
        std::filesystem::create_directory( _Path );
        std::filesystem::current_path( _Path );
    }
    ~CTempWorkingDirectory()
    {
        std::filesystem::current_path( _Previous );
        std::filesystem::remove_all( _Path );
    }
    const std::filesystem::path& Path() const { return _Path; }

private:
    std::filesystem::path _Previous;
    std::filesystem::path _Path;
};
