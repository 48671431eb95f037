// The hash set and map against the ones their users would pick instead: the Robin Hood set and map under the
// library's two hashes (MurmurHash3 of the key's bytes, and a multiplication by the golden ratio for integers)
// against absl::flat_hash_set and flat_hash_map with Abseil's own hash and std::unordered_set and unordered_map
// with the standard one. Four operations, each over all the keys of one pass, reported per key: insert into a
// fresh container, look up every key that is there, look up as many keys that are not, erase every key. Keys
// are uint32, uint64 and strings of 9 to 11 bytes, short enough to sit inside a std::string; present keys are
// even, absent ones odd, so a miss never hits. A map holds a uint32 beside each key, and its lookup reads it.
// The library's set misses also report probed_per_miss, the mean number of entries a miss reads, counted
// outside the timing: the probe stops only at an entry closer to home than the key would be. Each pass takes
// the keys in the same order, so at 1000 keys the branch predictor learns a whole pass; the sets' Shuffled
// lookups, at 1000 keys, take 64 orders in turn, as lookups that don't repeat a pass would.
//
// The lookups have a physical reference beside the library's forms, HomeEntry<Hasher>: the library's own table
// and hash, but a lookup reads the home bucket's entry alone and compares its key once, with no probe at all. No
// lookup in this layout can be faster, so library / HomeEntry is what the probe costs, and HomeEntry / Abseil
// what the hash and the entry size cost (an 8-byte entry per uint32 bucket against Abseil's 4-byte slot and
// control byte, at a bucket count fixed by the 0.9 load limit against the mask).

#include "qor_core/container/qor_container_utils.h"
#include "qor_core/container/qor_unordered_set.h"

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace
{
struct SFastMultHasher
{
    uint32 operator()( uint32 nKey ) const { return nKey * 0x9E3779B9u; }
    uint32 operator()( uint64 nKey ) const { return static_cast<uint32>( ( nKey * 0x9E3779B97F4A7C15ull ) >> 32 ); }
};

// The key of position nIndex: bMiss picks the odd twin of the even key that is present.
template <typename KeyT> KeyT MakeKey( int64 nIndex, bool bMiss )
{
    const uint32 nLow = ( NoiseHash( static_cast<uint32>( nIndex ), 23 ) & ~1u ) | ( bMiss ? 1u : 0u );
    if constexpr ( std::is_same_v<KeyT, uint32> )
    {
        return nLow;
    }
    else if constexpr ( std::is_same_v<KeyT, uint64> )
    {
        return ( uint64( NoiseHash( static_cast<uint32>( nIndex ), 24 ) ) << 32 ) | nLow;
    }
    else
    {
        return "k" + std::to_string( nLow );
    }
}

template <typename KeyT> std::vector<KeyT> MakeKeys( int64 nCount, bool bMiss )
{
    std::vector<KeyT> Keys;
    Keys.reserve( static_cast<size_t>( nCount ) );
    for ( int64 nIndex = 0; nIndex < nCount; ++nIndex )
    {
        Keys.push_back( MakeKey<KeyT>( nIndex, bMiss ) );
    }
    return Keys;
}

// One interface over the three sets: the library's names on the left, the others' on the right.
template <typename KeyT, typename HasherT> struct SQorSet
{
    NQorUnorderedSet::CQorUnorderedSet<KeyT, HasherT> _Set;
    void Insert( const KeyT& Key ) { _Set.Insert( Key ); }
    bool Contains( const KeyT& Key ) const { return _Set.Contains( Key ); }
    void Erase( const KeyT& Key ) { _Set.Remove( Key ); }
    // The entries a lookup of Key reads: one per key it compares, walking from the home bucket while the entry
    // stands at least as far from its home as Key would, and the one that stops the walk.
    int32 EntriesProbed( const KeyT& Key ) const
    {
        const auto& Table = _Set.GetTable();
        const auto* pEntry = Table.end().GetEntry() - ( Table.GetBucketCount() + Table.GetMaxDistance() ) +
                             ( HasherT()( Key ) & static_cast<uint32>( Table.GetBucketCount() - 1 ) );
        int32 nProbed = 1;
        for ( uint32 nDistance = 1; nDistance <= pEntry->_nDistance; ++nDistance, ++pEntry )
        {
            ++nProbed;
        }
        return nProbed;
    }
};

// The set's table read at the home entry only: hash, mask, one load and one key comparison.
template <typename KeyT, typename HasherT> struct SHomeEntrySet : SQorSet<KeyT, HasherT>
{
    // It reads one entry a miss.
    int32 EntriesProbed( const KeyT& Key ) const = delete;
    bool Contains( const KeyT& Key ) const
    {
        const auto& Table = this->_Set.GetTable();
        const auto* pHome = Table.end().GetEntry() - ( Table.GetBucketCount() + Table.GetMaxDistance() ) +
                            ( HasherT()( Key ) & static_cast<uint32>( Table.GetBucketCount() - 1 ) );
        if constexpr ( std::is_integral_v<KeyT> )
        {
            // The array's value bytes are cleared when it is made, so an empty entry reads as a value.
            KeyT Stored;
            std::memcpy( &Stored, pHome->_Value, sizeof( KeyT ) );
            return ( pHome->_nDistance != 0 ) & ( Stored == Key );
        }
        else
        {
            return pHome->_nDistance != 0 && pHome->Value() == Key;
        }
    }
};

template <typename KeyT, typename SetT> struct SPeerSet
{
    SetT _Set;
    void Insert( const KeyT& Key ) { _Set.insert( Key ); }
    bool Contains( const KeyT& Key ) const { return _Set.find( Key ) != _Set.end(); }
    void Erase( const KeyT& Key ) { _Set.erase( Key ); }
};

template <typename KeyT> using SAbseilSet = SPeerSet<KeyT, absl::flat_hash_set<KeyT>>;
template <typename KeyT> using SStdSet = SPeerSet<KeyT, std::unordered_set<KeyT>>;

// The maps behind the sets' interface: a lookup finds the key's value and reads it, as a user of a map would.
template <typename KeyT, typename HasherT> struct SQorMap
{
    NQorUnorderedMap::CQorUnorderedMap<KeyT, uint32, HasherT> _Map;
    void Insert( const KeyT& Key ) { _Map.Insert( Key, 1 ); }
    bool Contains( const KeyT& Key )
    {
        const uint32* pValue = _Map.FindValue( Key );
        return pValue && *pValue != 0;
    }
    void Erase( const KeyT& Key ) { _Map.Remove( Key ); }
};

template <typename KeyT, typename MapT> struct SPeerMap
{
    MapT _Map;
    void Insert( const KeyT& Key ) { _Map.emplace( Key, 1 ); }
    bool Contains( const KeyT& Key ) const
    {
        const auto It = _Map.find( Key );
        return It != _Map.end() && It->second != 0;
    }
    void Erase( const KeyT& Key ) { _Map.erase( Key ); }
};

template <typename SetT, typename KeyT> void Fill( SetT& Set, const std::vector<KeyT>& Keys )
{
    for ( const KeyT& Key : Keys )
    {
        Set.Insert( Key );
    }
}

template <typename SetT, typename KeyT> void RunInsert( benchmark::State& state )
{
    const std::vector<KeyT> Keys = MakeKeys<KeyT>( state.range( 0 ), false );
    for ( auto _ : state )
    {
        SetT Set;
        Fill( Set, Keys );
        benchmark::DoNotOptimize( Set );
    }
    state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

// nOrdersT passes in turn take the keys in as many orders, shuffled with a fixed seed; one order is the keys'
// own. A pass of 1000 keys in one order is short enough for the branch predictor to learn every branch of it.
template <typename SetT, typename KeyT, bool bMissT, int32 nOrdersT = 1> void RunLookup( benchmark::State& state )
{
    SetT Set;
    Fill( Set, MakeKeys<KeyT>( state.range( 0 ), false ) );
    const std::vector<KeyT> Keys = MakeKeys<KeyT>( state.range( 0 ), bMissT );
    std::vector<std::vector<KeyT>> Orders( nOrdersT, Keys );
    if constexpr ( nOrdersT > 1 )
    {
        std::mt19937 Random( 23 );
        for ( std::vector<KeyT>& Order : Orders )
        {
            std::shuffle( Order.begin(), Order.end(), Random );
        }
    }
    int32 nOrder = 0;
    for ( auto _ : state )
    {
        int64 nFound = 0;
        for ( const KeyT& Key : Orders[nOrder] )
        {
            nFound += Set.Contains( Key ) ? 1 : 0;
        }
        nOrder = nOrder + 1 == nOrdersT ? 0 : nOrder + 1;
        benchmark::DoNotOptimize( nFound );
    }
    state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
    // The library's misses walk their chain to the first entry closer to home than the key would be: the mean
    // number of entries read per miss stands beside the time.
    if constexpr ( bMissT && requires { Set.EntriesProbed( Keys.front() ); } )
    {
        int64 nProbed = 0;
        for ( const KeyT& Key : Keys )
        {
            nProbed += Set.EntriesProbed( Key );
        }
        state.counters["probed_per_miss"] = static_cast<double>( nProbed ) / static_cast<double>( Keys.size() );
    }
}

// The set is filled again outside the timing after every pass.
template <typename SetT, typename KeyT> void RunErase( benchmark::State& state )
{
    const std::vector<KeyT> Keys = MakeKeys<KeyT>( state.range( 0 ), false );
    SetT Set;
    Fill( Set, Keys );
    for ( auto _ : state )
    {
        for ( const KeyT& Key : Keys )
        {
            Set.Erase( Key );
        }
        benchmark::ClobberMemory();
        state.PauseTiming();
        Fill( Set, Keys );
        state.ResumeTiming();
    }
    state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

using FBody = void ( * )( benchmark::State& );

// A form's bodies, in the order of Operations.
constexpr int32 nOperations = 6;
struct SForm
{
    const char* pName;
    FBody Bodies[nOperations];
};
// The shuffled lookups run at 1000 keys only: from 100000 on no predictor holds a pass, and 64 orders of a
// million keys would not fit the caches they are meant to leave alone.
constexpr const char* Operations[nOperations] = { "Insert", "LookupHit",         "LookupMiss",
                                                  "Erase",  "LookupHitShuffled", "LookupMissShuffled" };
constexpr int32 nShuffledOrders = 64;

template <typename KeyT, typename SetT> SForm MakeForm( const char* pName )
{
    return { pName,
             { RunInsert<SetT, KeyT>, RunLookup<SetT, KeyT, false>, RunLookup<SetT, KeyT, true>, RunErase<SetT, KeyT>,
               RunLookup<SetT, KeyT, false, nShuffledOrders>, RunLookup<SetT, KeyT, true, nShuffledOrders> } };
}

// A reference of the lookups alone.
template <typename KeyT, typename SetT> SForm MakeLookupForm( const char* pName )
{
    return { pName,
             { nullptr, RunLookup<SetT, KeyT, false>, RunLookup<SetT, KeyT, true>, nullptr,
               RunLookup<SetT, KeyT, false, nShuffledOrders>, RunLookup<SetT, KeyT, true, nShuffledOrders> } };
}

// The library's forms name their hash; the counterparts use their library's own. Strings have no
// multiplicative hash.
template <typename KeyT, bool bIntegerT = std::is_integral_v<KeyT>> std::vector<SForm> FormsOf()
{
    using SStandardHasher = NQorUnorderedSet::SDefaultHasher<KeyT>;
    std::vector<SForm> Forms{ MakeForm<KeyT, SQorSet<KeyT, SStandardHasher>>( "QorStandardHasher" ) };
    if constexpr ( bIntegerT )
    {
        Forms.push_back( MakeForm<KeyT, SQorSet<KeyT, SFastMultHasher>>( "QorFastMultHasher" ) );
    }
    Forms.push_back( MakeLookupForm<KeyT, SHomeEntrySet<KeyT, SStandardHasher>>( "HomeEntryStandardHasher" ) );
    if constexpr ( bIntegerT )
    {
        Forms.push_back( MakeLookupForm<KeyT, SHomeEntrySet<KeyT, SFastMultHasher>>( "HomeEntryFastMultHasher" ) );
    }
    Forms.push_back( MakeForm<KeyT, SAbseilSet<KeyT>>( "Abseil" ) );
    Forms.push_back( MakeForm<KeyT, SStdSet<KeyT>>( "Std" ) );
    return Forms;
}

template <typename KeyT, bool bIntegerT = std::is_integral_v<KeyT>> std::vector<SForm> MapFormsOf()
{
    using SStandardHasher = NQorUnorderedSet::SDefaultHasher<KeyT>;
    std::vector<SForm> Forms{ MakeForm<KeyT, SQorMap<KeyT, SStandardHasher>>( "QorStandardHasher" ) };
    if constexpr ( bIntegerT )
    {
        Forms.push_back( MakeForm<KeyT, SQorMap<KeyT, SFastMultHasher>>( "QorFastMultHasher" ) );
    }
    Forms.push_back( MakeForm<KeyT, SPeerMap<KeyT, absl::flat_hash_map<KeyT, uint32>>>( "Abseil" ) );
    Forms.push_back( MakeForm<KeyT, SPeerMap<KeyT, std::unordered_map<KeyT, uint32>>>( "Std" ) );
    return Forms;
}

// Registered by container, then operation, then key type, then form: HashSet_<Operation>_<Form><<Key>>/<count>,
// and the same for HashMap.
const bool s_bRegistered = []
{
    const std::pair<const char*, std::vector<std::pair<const char*, std::vector<SForm>>>> Containers[] = {
        { "HashSet_",
          { { "uint32", FormsOf<uint32>() }, { "uint64", FormsOf<uint64>() }, { "string", FormsOf<std::string>() } } },
        { "HashMap_",
          { { "uint32", MapFormsOf<uint32>() },
            { "uint64", MapFormsOf<uint64>() },
            { "string", MapFormsOf<std::string>() } } } };
    for ( const auto& [pPrefix, Types] : Containers )
    {
        for ( int32 nOperation = 0; nOperation < nOperations; ++nOperation )
        {
            for ( const auto& [pType, Forms] : Types )
            {
                for ( const SForm& Form : Forms )
                {
                    if ( !Form.Bodies[nOperation] )
                    {
                        continue;
                    }
                    const std::string Name =
                        pPrefix + std::string( Operations[nOperation] ) + "_" + Form.pName + "<" + pType + ">";
                    benchmark::internal::Benchmark* pBenchmark =
                        benchmark::RegisterBenchmark( Name.c_str(), Form.Bodies[nOperation] )->Arg( 1000 );
                    if ( nOperation < 4 )
                    {
                        pBenchmark->Arg( 100000 )->Arg( 1000000 );
                    }
                }
            }
        }
    }
    return true;
}();
} // namespace
