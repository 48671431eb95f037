// The multi-any built, filled with nTypes - nMissing of 64 distinct types, read nAccessRounds times over all
// nTypes (so nMissingPercent of the look-ups miss) and destroyed, all inside the timing: the plain form
// against the hybrid one, whose embedded allocator adds a virtual call to every table allocation.

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/qor_any.h"

#include <benchmark/benchmark.h>

namespace
{
template <int I>
struct SDummy
{
    int32 nValue;
};

#define QOR_DUMMY_CASES_8( Case, Base )                                                                                \
    Case( Base + 0 ) Case( Base + 1 ) Case( Base + 2 ) Case( Base + 3 ) Case( Base + 4 ) Case( Base + 5 )              \
        Case( Base + 6 ) Case( Base + 7 )
#define QOR_DUMMY_CASES_64( Case )                                                                                     \
    QOR_DUMMY_CASES_8( Case, 0 )                                                                                       \
    QOR_DUMMY_CASES_8( Case, 8 ) QOR_DUMMY_CASES_8( Case, 16 ) QOR_DUMMY_CASES_8( Case, 24 )                           \
        QOR_DUMMY_CASES_8( Case, 32 ) QOR_DUMMY_CASES_8( Case, 40 ) QOR_DUMMY_CASES_8( Case, 48 )                      \
            QOR_DUMMY_CASES_8( Case, 56 )

// Inserts SDummy<nIndex> holding nIndex and returns the value stored; out of 0 to 63, inserts nothing and
// returns -1.
template <typename MultiAnyT>
int32 SetDummy( MultiAnyT& Multi, int32 nIndex )
{
#define QOR_SET_CASE( I )                                                                                              \
    case I:                                                                                                            \
        return Multi.Set( SDummy<I>{ I } ).nValue;
    switch ( nIndex )
    {
        QOR_DUMMY_CASES_64( QOR_SET_CASE )
    default:
        return -1;
    }
#undef QOR_SET_CASE
}

// The value of SDummy<nIndex>, or -1 when the multi-any holds none.
template <typename MultiAnyT>
int32 GetDummy( const MultiAnyT& Multi, int32 nIndex )
{
#define QOR_GET_CASE( I )                                                                                              \
    case I:                                                                                                            \
    {                                                                                                                  \
        const SDummy<I>* pDummy = Multi.template Get<SDummy<I>>();                                                     \
        return pDummy ? pDummy->nValue : -1;                                                                           \
    }
    switch ( nIndex )
    {
        QOR_DUMMY_CASES_64( QOR_GET_CASE )
    default:
        return -1;
    }
#undef QOR_GET_CASE
}

template <typename MultiAnyT>
void CQorMultiAny_InsertAndAccess( benchmark::State& state )
{
    const int32 nTypes = static_cast<int32>( state.range( 0 ) );
    const int32 nAccessRounds = static_cast<int32>( state.range( 1 ) );
    const int32 nMissingPercent = static_cast<int32>( state.range( 2 ) );
    const int32 nMissing = nTypes * nMissingPercent / 100;
    const int32 nPresent = nTypes - nMissing;
    CQorArray<int32> Indices;
    for ( int32 I = 0; I < nTypes; ++I )
    {
        Indices.Add( I );
    }
    CQorRandom Random( 1893452345 );
    Shuffle( Indices, Random );
    Indices.Resize( nPresent );

    for ( auto _ : state )
    {
        MultiAnyT Multi;
        int32 nSum = 0;
        for ( const int32 nIndex : Indices )
        {
            nSum += SetDummy( Multi, nIndex );
        }
        benchmark::DoNotOptimize( nSum );
        for ( int32 nRound = 0; nRound < nAccessRounds; ++nRound )
        {
            nSum = 0;
            for ( int32 I = 0; I < nTypes; ++I )
            {
                nSum += GetDummy( Multi, I );
            }
            benchmark::DoNotOptimize( nSum );
        }
    }
}
} // namespace

BENCHMARK( CQorMultiAny_InsertAndAccess<CQorMultiAny<8>> )->ArgsProduct( { { 1, 2, 32 }, { 0, 1, 10 }, { 0, 20 } } );
BENCHMARK( CQorMultiAny_InsertAndAccess<CQorHybridMultiAny<8, 2>> )
    ->ArgsProduct( { { 1, 2, 32 }, { 0, 1, 10 }, { 0, 20 } } );
