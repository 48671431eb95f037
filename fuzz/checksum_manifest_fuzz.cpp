// The checksum manifest on any bytes: its entries, their blocks and keys. Nothing may crash, read out of bounds,
// report what only a fault reports, or stop before the end of the input; a manifest that reads without an error
// text has a directory entry, each with a name.

#include "fuzz/reader_fuzz_support.h"
#include "qor_core/checksum.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* pData, size_t Size )
{
    static const bool s_bReady = NReaderFuzz::Prepare();
    if ( !s_bReady || Size > ( 1u << 24 ) )
    {
        return 0;
    }
    CMemoryFile File( pData, int32( Size ), 1 );
    File.SetFileName( "manifest.txt" );
    SChecksumManifest Manifest;
    CString Errors;
    const bool bOk = ReadManifest( File, Manifest, Errors );
    if ( bOk != Errors.IsEmpty() || ( bOk && Manifest._Directories.IsEmpty() ) )
    {
        std::abort();
    }
    for ( const SChecksumDirectory& Directory : Manifest._Directories )
    {
        if ( Directory._Name.IsEmpty() )
        {
            std::abort();
        }
    }
    return 0;
}
