// The file logger against spdlog's basic file sink, writing the same lines to a file of the temporary
// directory from one and two threads: the line is the message alone (no time, no location, spdlog's pattern
// "%v"), and neither flushes after each line. The file is created before the first thread logs and closed
// after the last, outside the timing.

#include "qor_core/filelogger.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <memory>
#include <string>

namespace
{
constexpr uint32 c_Category = 1;
constexpr const char c_Line[] = "Logging: THIS IS A TEST LOG VALUE";

std::string LogPath( const char* pForm )
{
    return ( std::filesystem::temp_directory_path() / ( std::string( "qor_core_peer_log_" ) + pForm + ".txt" ) )
        .string();
}

void Log_File_Qor( benchmark::State& state )
{
    static std::unique_ptr<CFileLogger> s_pLogger;
    static const std::string s_Path = LogPath( "qor" );
    if ( state.thread_index() == 0 )
    {
        s_pLogger = std::make_unique<CFileLogger>( s_Path.c_str(), 0u );
    }
    const CString Message( std::string( c_Line ) + "\n" );
    for ( auto _ : state )
    {
        s_pLogger->Log( c_Category, CQorStringView(), __LINE__, Message );
    }
    if ( state.thread_index() == 0 )
    {
        s_pLogger.reset();
        std::filesystem::remove( s_Path );
    }
}

void Log_File_Spdlog( benchmark::State& state )
{
    static std::shared_ptr<spdlog::logger> s_pLogger;
    static const std::string s_Path = LogPath( "spdlog" );
    if ( state.thread_index() == 0 )
    {
        s_pLogger = std::make_shared<spdlog::logger>(
            "peer", std::make_shared<spdlog::sinks::basic_file_sink_mt>( s_Path, true ) );
        s_pLogger->set_pattern( "%v" );
    }
    for ( auto _ : state )
    {
        s_pLogger->info( c_Line );
    }
    if ( state.thread_index() == 0 )
    {
        s_pLogger.reset();
        std::filesystem::remove( s_Path );
    }
}
} // namespace

BENCHMARK( Log_File_Qor )->Threads( 1 )->Threads( 2 );
BENCHMARK( Log_File_Spdlog )->Threads( 1 )->Threads( 2 );
