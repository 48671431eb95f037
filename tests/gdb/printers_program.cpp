// The values the GDB pretty-printers are tested on: the program builds them in main, then stops in
// StopHere, where the test's debugger session goes up to main and prints each one.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_double_ended_array_impl.h"
#include "qor_core/container/qor_hybrid_array.h"
#include "qor_core/container/qor_robin_hood_table.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/fixedpoint.h"
#include "qor_core/qor_any.h"
#include "qor_core/qor_optional.h"
#include "qor_core/qor_ptr.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"

#include <cstdint>

struct SThing : CQorRefCountable
{
    explicit SThing( int32 Id ) : nId( Id ) {}
    int32 nId;
};

struct SPoint
{
    int32 X;
    int32 Y;
};

__attribute__( ( noinline ) ) void StopHere()
{
    asm volatile( "" );
}

int main()
{
    CQorArray<int32> Array;
    for ( int32 Value : { 1, 2, 3 } )
    {
        Array.Add( Value );
    }
    CQorArray<int32> EmptyArray;
    CQorArray<CString> Strings;
    Strings.Add( CString( "first" ) );
    Strings.Add( CString( "second" ) );

    CQorHybridArray<int32, 4> HybridInline{ 1, 2 };
    CQorHybridArray<int32, 2> HybridHeap{ 1, 2, 3 };
    const CQorHybridArray<int32, 2>& HybridReference = HybridHeap;
    CQorStaticArray<int32, 3> Static{ 7, 8 };

    CQorDoubleEndedArray<int32> DoubleEnded;
    DoubleEnded.Reserve( 7 );
    DoubleEnded.PushBack( 2 );
    DoubleEnded.PushBack( 3 );
    DoubleEnded.PushFront( 1 );
    CQorDoubleEndedArray<int32> EmptyDoubleEnded;

    NQorUnorderedSet::CQorUnorderedSet<int32> Set;
    for ( int32 Value : { 10, 20, 30 } )
    {
        Set.Insert( Value );
    }
    NQorUnorderedSet::CQorUnorderedSet<int32> EmptySet;
    const NQorUnorderedSet::CQorUnorderedSet<int32>& SetReference = Set;
    NQorUnorderedSet::CQorHybridUnorderedSet<int32, 3> HybridSet;
    HybridSet.Insert( 5 );
    NQorUnorderedMap::CQorUnorderedMap<int32, CString> Map;
    Map.Insert( 1, CString( "one" ) );
    Map.Insert( 2, CString( "two" ) );
    CQorRobinHoodTable<int32, NQorUnorderedSet::SDefaultHasher<int32>> Table;
    Table.Insert( NQorUnorderedSet::SDefaultHasher<int32>()( 7 ), 7 );

    CString Text( "hello" );
    CString EmptyText;
    const char* const pSentence = "a view here";
    CQorStringView View( pSentence );
    [[maybe_unused]] CQorStringView Cut = View.Substr( 2, 6 );
    CQorStringView EmptyView;

    [[maybe_unused]] CFixedPoint Pi = CFixedPoint::Pi;
    [[maybe_unused]] CFixedPoint MinusHalf = CFixedPoint::FromRaw( -50000 );
    [[maybe_unused]] CFixedPoint Smallest = CFixedPoint::FromRaw( 1 );
    [[maybe_unused]] CFixedPoint MinusSmallest = CFixedPoint::FromRaw( -1 );
    [[maybe_unused]] CFixedPoint MinusTwoAndAQuarter = CFixedPoint::FromRaw( -225000 );
    [[maybe_unused]] CFixedPoint OneTenth = CFixedPoint::FromRaw( 10000 );
    [[maybe_unused]] CFixedPoint Twelve( 12 );
    [[maybe_unused]] CFixedPoint Zero;
    [[maybe_unused]] CFixedPoint Lowest = CFixedPoint::FromRaw( INT64_MIN );

    CQorOptional<int32> SetOptional( 5 );
    CQorOptional<int32> UnsetOptional;
    CQorOptional<CString> OptionalText( CString( "inside" ) );

    CQorPtr<SThing> Ptr( new SThing( 7 ) );
    CQorPtr<SThing> SharedPtr = Ptr;
    CQorPtr<SThing> EmptyPtr;

    CQorAny<16> AnyInt;
    AnyInt = 42;
    CQorAny<16> AnyPoint;
    AnyPoint = SPoint{ 3, 4 };
    CQorAny<16> AnyText;
    AnyText = CString( "heap" );
    CQorAny<16> AnyFixed;
    AnyFixed = CFixedPoint( 2 );
    CQorAny<16> AnyEmpty;

    StopHere();
    return HybridReference.GetSize() + SetReference.GetSize();
}
