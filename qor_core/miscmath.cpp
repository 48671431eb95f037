#include "qor_core/miscmath.h"

#include "qor_core/qor_assert.h"

namespace NPriv
{
// Reached only with the condition already false: each is one report site for every instantiation.
void AssertExponentNotNegative( int32 Exponent )
{
    QOR_ASSERT( Exponent >= 0 );
}

void AssertRoundUpInRange( uint32 i )
{
    QOR_ASSERT( i < UINT32_MAX / 2 );
}
} // namespace NPriv
