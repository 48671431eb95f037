// Replays a fuzz target's corpus without libFuzzer: every regular file named on the command line, or found in a
// directory named there, goes through LLVMFuzzerTestOneInput once, in name order. A run that finds no input
// fails, so that a corpus folder that went missing can't pass as an empty success.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size );

int main( int argc, char** argv )
{
    std::vector<std::filesystem::path> Inputs;
    for ( int i = 1; i < argc; ++i )
    {
        const std::filesystem::path Path( argv[ i ] );
        if ( std::filesystem::is_directory( Path ) )
        {
            for ( const std::filesystem::directory_entry& Entry : std::filesystem::directory_iterator( Path ) )
            {
                if ( Entry.is_regular_file() )
                {
                    Inputs.push_back( Entry.path() );
                }
            }
        }
        else
        {
            Inputs.push_back( Path );
        }
    }
    std::sort( Inputs.begin(), Inputs.end() );
    if ( Inputs.empty() )
    {
        std::fprintf( stderr, "replay: no input found\n" );
        return 1;
    }

    for ( const std::filesystem::path& Input : Inputs )
    {
        std::ifstream Stream( Input, std::ios::binary );
        if ( !Stream )
        {
            std::fprintf( stderr, "replay: can't open %s\n", Input.c_str() );
            return 1;
        }
        const std::vector<uint8_t> Bytes( ( std::istreambuf_iterator<char>( Stream ) ), std::istreambuf_iterator<char>() );
        // A block of exactly the input's size, so that AddressSanitizer sees a read past its end.
        const std::unique_ptr<uint8_t[]> pCopy( new uint8_t[ Bytes.size() ] );
        std::copy( Bytes.begin(), Bytes.end(), pCopy.get() );
        LLVMFuzzerTestOneInput( pCopy.get(), Bytes.size() );
    }
    std::printf( "replay: %zu inputs\n", Inputs.size() );
    return 0;
}
