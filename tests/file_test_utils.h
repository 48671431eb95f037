#pragma once

// The file checksum written plainly from its definition, one byte at a time, as the oracle of the tests.

#include "qor_core/qor_types.h"

#include <string>

inline uint32 ReferenceChecksum( const std::string& Bytes )
{
    uint32 A = 0;
    uint32 B = 0;
    for ( char Char : Bytes )
    {
        A += uint8( Char );
        if ( A > 65535 )
        {
            A -= 65535;
        }
        B += A;
        if ( B > 65535 )
        {
            B -= 65535;
        }
    }
    return ( A << 16 ) | B;
}
