#pragma once

// QorDynamicTypeLibrary: a registry of type descriptions for a small run-time type system. A description (a
// TypeClass) holds a size, an alignment, a name and element operations that work on strided memory. A
// compile-time type T registered as a static type must be found again fast by GetStatic<T>, in any of several
// libraries alive at once:
// - the first three libraries of a TypeClass (indices 0, 1, 2) keep T's description at a fixed place, slot
//   <index> of a static buffer of T, so the look-up is a load and a compare with no hash. The description's
//   static id validates the slot: its destructor clears the id, so a slot left by a destroyed library reads as
//   invalid;
// - later libraries fall back to a hash table keyed by the address of T's static id;
// - library indices are handed out smallest-first and recycled, so that long-lived libraries tend to sit in
//   the fast range.
// A library is not thread-safe; only the index manager locks. Libraries in different threads touch different
// slots, as each slot belongs to one library at a time.

#include "qor_core/allocator/qor_pool_allocator.h"
#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/platform/qor_debugger.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_hash.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/thread/qor_mutex.h"

#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

namespace NQorDynamicType
{
// The number of libraries per TypeClass whose static types live in the fast slots: a constant of the design.
constexpr int32 nFastLookupSlots = 3;

// The element operations of a type. nCount elements lie nStride bytes apart; both sides of a two-pointer
// operation use the same stride. Each operation first reports a stride below the size or off the alignment,
// and an operation that builds objects also a misaligned address; then it goes on. A count of 0 or below does
// nothing.
template <typename TypeClassT>
struct STypeFunctions
{
    using FInPlace = void ( * )( const TypeClassT* pType, void* pMemory, int32 nCount, int32 nStride );
    using FFromCopy = void ( * )( const TypeClassT* pType, const void* pSource, void* pDest, int32 nCount,
                                  int32 nStride );
    using FFromMove = void ( * )( const TypeClassT* pType, void* pSource, void* pDest, int32 nCount, int32 nStride );

    FInPlace Construct = nullptr;
    FFromCopy CopyConstruct = nullptr;
    FFromMove MoveConstruct = nullptr;
    FInPlace Destruct = nullptr;
    FFromCopy CopyAssign = nullptr;
    FFromMove MoveAssign = nullptr;
};

// A place in strided memory: advancing adds the stride.
template <typename ByteT>
struct SCursor
{
    ByteT* pData;
    int32 nStride;

    void Advance() { pData += nStride; }
};

namespace NDetail
{
template <typename TypeClassT>
void CheckStride( const TypeClassT* pType, int32 nStride )
{
    QOR_ASSERT_MSG( nStride >= pType->_nSize, "Stride %d for type \"%s\" of size %d is too small.", nStride,
                    pType->_Name.GetData(), pType->_nSize );
    QOR_ASSERT_MSG( nStride % pType->_nAlignment == 0, "Stride %d for type \"%s\" of alignment %d is misaligned.",
                    nStride, pType->_Name.GetData(), pType->_nAlignment );
}

template <typename TypeClassT>
void CheckAddress( const TypeClassT* pType, const void* pMemory )
{
    QOR_ASSERT_MSG( reinterpret_cast<uintptr_t>( pMemory ) % static_cast<uintptr_t>( pType->_nAlignment ) == 0,
                    "Memory address for type \"%s\" of alignment %d is misaligned.", pType->_Name.GetData(),
                    pType->_nAlignment );
}

// The operations of T. A type without data (an empty T, registered with size 0) does nothing in them.
template <typename TypeClassT, typename T>
struct STypedFunctions
{
    static constexpr bool bHasData = !std::is_empty_v<T>;

    static void Construct( const TypeClassT* pType, void* pMemory, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        CheckAddress( pType, pMemory );
        if constexpr ( bHasData )
        {
            SCursor<unsigned char> Dest{ static_cast<unsigned char*>( pMemory ), nStride };
            for ( int32 I = 0; I < nCount; ++I, Dest.Advance() )
            {
                ::new ( static_cast<void*>( Dest.pData ) ) T();
            }
        }
    }
    static void CopyConstruct( const TypeClassT* pType, const void* pSource, void* pDest, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        CheckAddress( pType, pDest );
        Walk( pSource, pDest, nCount, nStride,
              []( const T& Source, void* pTarget ) { ::new ( pTarget ) T( Source ); } );
    }
    static void MoveConstruct( const TypeClassT* pType, void* pSource, void* pDest, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        CheckAddress( pType, pDest );
        Walk( pSource, pDest, nCount, nStride,
              []( T& Source, void* pTarget ) { ::new ( pTarget ) T( std::move( Source ) ); } );
    }
    static void Destruct( const TypeClassT* pType, void* pMemory, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        if constexpr ( bHasData )
        {
            SCursor<unsigned char> Cursor{ static_cast<unsigned char*>( pMemory ), nStride };
            for ( int32 I = 0; I < nCount; ++I, Cursor.Advance() )
            {
                std::launder( reinterpret_cast<T*>( Cursor.pData ) )->~T();
            }
        }
    }
    static void CopyAssign( const TypeClassT* pType, const void* pSource, void* pDest, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        Walk( pSource, pDest, nCount, nStride,
              []( const T& Source, void* pTarget ) { *std::launder( static_cast<T*>( pTarget ) ) = Source; } );
    }
    static void MoveAssign( const TypeClassT* pType, void* pSource, void* pDest, int32 nCount, int32 nStride )
    {
        CheckStride( pType, nStride );
        Walk( pSource, pDest, nCount, nStride,
              []( T& Source, void* pTarget ) { *std::launder( static_cast<T*>( pTarget ) ) = std::move( Source ); } );
    }

private:
    // Calls Step once per element with the source value and the target address, the two cursors in step.
    template <typename SourceT, typename StepT>
    static void Walk( SourceT* pSource, void* pDest, int32 nCount, int32 nStride, StepT Step )
    {
        if constexpr ( bHasData )
        {
            using SourceByteT = std::conditional_t<std::is_const_v<SourceT>, const unsigned char, unsigned char>;
            using ValueT = std::conditional_t<std::is_const_v<SourceT>, const T, T>;
            SCursor<SourceByteT> Source{ static_cast<SourceByteT*>( pSource ), nStride };
            SCursor<unsigned char> Dest{ static_cast<unsigned char*>( pDest ), nStride };
            for ( int32 I = 0; I < nCount; ++I, Source.Advance(), Dest.Advance() )
            {
                Step( *std::launder( reinterpret_cast<ValueT*>( Source.pData ) ), Dest.pData );
            }
        }
    }
};

// The characters of a name, through the byte hash.
struct SStringHasher
{
    uint32 operator()( const CString& Name ) const { return HashBytes( 0, Name.GetData(), Name.GetSize() ); }
};

// Per compile-time type: the static id, of which only the address matters. Not const, so that no two ids
// share an address.
template <typename T>
struct SStaticTypeId
{
    static inline char s_StaticTypeId = 0;
};

// Per compile-time type and TypeClass: room for the description of T in each of the fast libraries. Slot i
// belongs to the library of index i. Zero-filled storage reads as an invalid slot.
template <typename TypeClassT, typename T>
struct SFastLookup
{
    alignas( TypeClassT ) static inline unsigned char s_FastLookupBuffer[ nFastLookupSlots * sizeof( TypeClassT ) ];
};
} // namespace NDetail

template <typename TypeClassT, typename T>
STypeFunctions<TypeClassT> MakeTypeFunctions()
{
    using Functions = NDetail::STypedFunctions<TypeClassT, T>;
    STypeFunctions<TypeClassT> Result;
    Result.Construct = &Functions::Construct;
    Result.CopyConstruct = &Functions::CopyConstruct;
    Result.MoveConstruct = &Functions::MoveConstruct;
    Result.Destruct = &Functions::Destruct;
    Result.CopyAssign = &Functions::CopyAssign;
    Result.MoveAssign = &Functions::MoveAssign;
    return Result;
}

// Hands out library indices, smallest free first, and takes them back. Thread-safe.
class CTypeLibraryIndexManager
{
public:
    int32 Acquire();
    // REQUIRES: nIndex was acquired and is not released yet.
    void Release( int32 nIndex );

private:
    // Released indices in descending order: the smallest is the last.
    CQorArray<int32> _FreeIndices;
    int32 _nNextIndex = 0;
    CMutex _Mutex;
};

// The one index manager of the libraries of TypeClassT.
template <typename TypeClassT>
CTypeLibraryIndexManager& GetTypeLibraryIndexManager()
{
    static CTypeLibraryIndexManager s_Manager;
    return s_Manager;
}

// What a TypeClass holds, in this order: _nSize, _nAlignment, _Name, _Functions, _pStaticId, _nDataIndex.
template <typename TypeClassT>
class QorDynamicTypeLibrary
{
public:
    // The name is not kept.
    explicit QorDynamicTypeLibrary( CQorStringView Name = CQorStringView() )
        : _TypeLibraryIndex( GetTypeLibraryIndexManager<TypeClassT>().Acquire() )
    {
        static_cast<void>( Name );
        _TypesWithData.Add( nullptr );
    }
    QorDynamicTypeLibrary( const QorDynamicTypeLibrary& ) = delete;
    QorDynamicTypeLibrary& operator=( const QorDynamicTypeLibrary& ) = delete;
    ~QorDynamicTypeLibrary();

    // Makes T a static type of this library, of size 0 for an empty T. A second registration of T is reported
    // and goes on.
    template <typename T>
    TypeClassT* Register( CQorStringView Name );

    // Storage for a type that is not static, to construct a TypeClass in and pass to AddType.
    void* AllocateType() { return _TypePool.Allocate( sizeof( TypeClassT ), alignof( TypeClassT ) ); }
    // Enters a type into the tables; the library destroys it. A name taken already and the 65536th type with
    // data are reported, and the type is entered anyway.
    // REQUIRES: pType lives in storage from AllocateType of this library.
    void AddType( TypeClassT* pType );

    // The description of T. REQUIRES: T is registered in this library; the fallback of libraries 3 and above
    // ends the process after the report, having no type to return.
    template <typename T>
    TypeClassT* GetStatic()
    {
        if ( _TypeLibraryIndex >= nFastLookupSlots )
        {
            return FindStatic( StaticTypeId<T>() );
        }
        return CheckedSlot( GetFastLookupSlot<T>( _TypeLibraryIndex ), StaticTypeId<T>() );
    }
    // The same, with this library's index given at compile time: for 0 to 2 a constant address and a compare.
    // REQUIRES: StaticTypeLibraryIndex is this library's index (not checked from 3 on).
    template <typename T, int32 StaticTypeLibraryIndex>
    TypeClassT* GetStatic()
    {
        if constexpr ( StaticTypeLibraryIndex < nFastLookupSlots )
        {
            QOR_ASSERT( StaticTypeLibraryIndex == _TypeLibraryIndex );
            return CheckedSlot( GetFastLookupSlot<T>( StaticTypeLibraryIndex ), StaticTypeId<T>() );
        }
        else
        {
            return FindStatic( StaticTypeId<T>() );
        }
    }

    int32 GetTypeLibraryIndex() const { return _TypeLibraryIndex; }

    // Slot nIndex of T's fast lookup buffer: valid while its _pStaticId is StaticTypeId<T>().
    // REQUIRES: 0 <= nIndex < nFastLookupSlots.
    template <typename T>
    static TypeClassT* GetFastLookupSlot( int32 nIndex )
    {
        return reinterpret_cast<TypeClassT*>( NDetail::SFastLookup<TypeClassT, T>::s_FastLookupBuffer ) + nIndex;
    }
    template <typename T>
    static const void* StaticTypeId()
    {
        return &NDetail::SStaticTypeId<T>::s_StaticTypeId;
    }

private:
    TypeClassT* CheckedSlot( TypeClassT* pType, const void* pStaticId )
    {
        if ( pType->_pStaticId != pStaticId ) [[unlikely]]
        {
            ReportInvalidSlot( pStaticId );
        }
        return pType;
    }
    [[gnu::cold, gnu::noinline]] void ReportInvalidSlot( const void* pStaticId );
    TypeClassT* FindStatic( const void* pStaticId );

    int32 _TypeLibraryIndex;
    CQorUnsynchronizedPoolAllocator<TypeClassT> _TypePool{ 32 };
    NQorUnorderedSet::CQorUnorderedSet<TypeClassT*> _Types;
    NQorUnorderedMap::CQorUnorderedMap<const void*, TypeClassT*> _StaticTypes;
    NQorUnorderedMap::CQorUnorderedMap<CString, TypeClassT*, NDetail::SStringHasher> _TypesByName;
    // Indexed by data index; entry 0 is null, so that data index 0 means none.
    CQorArray<TypeClassT*> _TypesWithData;
};

template <typename TypeClassT>
template <typename T>
TypeClassT* QorDynamicTypeLibrary<TypeClassT>::Register( CQorStringView Name )
{
    const void* pStaticId = StaticTypeId<T>();
    const bool bIsRegistered = _StaticTypes.Contains( pStaticId );
    QOR_ASSERT_MSG( !bIsRegistered, "This type already exists" );
    void* pStorage;
    // The name may view the description that the slot holds: it is kept before that description goes.
    CString KeptName;
    if ( _TypeLibraryIndex < nFastLookupSlots )
    {
        TypeClassT* pSlot = GetFastLookupSlot<T>( _TypeLibraryIndex );
        // The slot is rebuilt: the description it held goes first, so that nothing it owns is lost.
        if ( bIsRegistered )
        {
            KeptName = CString( Name );
            Name = KeptName;
            pSlot->~TypeClassT();
        }
        pStorage = pSlot;
    }
    else
    {
        pStorage = AllocateType();
    }
    const int32 nSize = std::is_empty_v<T> ? 0 : static_cast<int32>( sizeof( T ) );
    TypeClassT* pType = ::new ( pStorage )
        TypeClassT( nSize, static_cast<int32>( alignof( T ) ), Name, MakeTypeFunctions<TypeClassT, T>() );
    pType->_pStaticId = pStaticId;
    _StaticTypes.Insert( pStaticId, pType );
    AddType( pType );
    return pType;
}

template <typename TypeClassT>
void QorDynamicTypeLibrary<TypeClassT>::AddType( TypeClassT* pType )
{
    _Types.Insert( pType );
    if ( !pType->_Name.IsEmpty() )
    {
        QOR_ASSERT_MSG( !_TypesByName.Contains( pType->_Name ), "There is already a type registered with name %s",
                        pType->_Name.GetData() );
        _TypesByName.Insert( pType->_Name, pType );
    }
    if ( pType->_nSize > 0 )
    {
        QOR_ASSERT_MSG( _TypesWithData.GetSize() < 65535, "Too many types with data defined" );
        pType->_nDataIndex = _TypesWithData.GetSize();
        _TypesWithData.Add( pType );
    }
}

template <typename TypeClassT>
void QorDynamicTypeLibrary<TypeClassT>::ReportInvalidSlot( const void* pStaticId )
{
    if ( _StaticTypes.Contains( pStaticId ) )
    {
        QOR_ASSERT_MSG( false, "Static type in fast lookup buffer is corrupt." );
    }
    else
    {
        QOR_ASSERT_MSG( false, "Type is not statically registered in this library" );
    }
}

template <typename TypeClassT>
TypeClassT* QorDynamicTypeLibrary<TypeClassT>::FindStatic( const void* pStaticId )
{
    TypeClassT* const* ppType = _StaticTypes.FindValue( pStaticId );
    if ( !ppType ) [[unlikely]]
    {
        QOR_ASSERT_MSG( false, "Type is not statically registered in this library" );
        // There is no type to return: the caller would read through null.
        NPlatform::CrashDeliberately();
    }
    return *ppType;
}

template <typename TypeClassT>
QorDynamicTypeLibrary<TypeClassT>::~QorDynamicTypeLibrary()
{
    _TypesByName.Clear();
    _TypesWithData.Clear();
    // Descriptions in fast slots are destroyed in place, which marks the slots invalid; they own no memory of
    // the pool.
    if ( _TypeLibraryIndex < nFastLookupSlots )
    {
        for ( const auto& Entry : _StaticTypes )
        {
            _Types.Remove( Entry.Value );
            Entry.Value->~TypeClassT();
        }
    }
    _StaticTypes.Clear();
    for ( TypeClassT* pType : _Types )
    {
        pType->~TypeClassT();
        _TypePool.Deallocate( pType );
    }
    _Types.Clear();
    GetTypeLibraryIndexManager<TypeClassT>().Release( _TypeLibraryIndex );
}

namespace NBenchmarks
{
// The type description the benchmarks register.
class CBenchmarkTypeClass
{
public:
    CBenchmarkTypeClass( int32 nSize, int32 nAlignment, CQorStringView Name,
                         const STypeFunctions<CBenchmarkTypeClass>& Functions )
        : _nSize( nSize ), _nAlignment( nAlignment ), _Name( Name ), _Functions( Functions )
    {
    }
    CBenchmarkTypeClass( const CBenchmarkTypeClass& ) = delete;
    CBenchmarkTypeClass& operator=( const CBenchmarkTypeClass& ) = delete;
    // Clears the static id first: a fast slot that held this description reads as invalid from now on.
    ~CBenchmarkTypeClass();

    int32 _nSize;
    int32 _nAlignment;
    CString _Name;
    STypeFunctions<CBenchmarkTypeClass> _Functions;
    const void* _pStaticId = nullptr;
    int32 _nDataIndex = 0;
    // The room of a wider object model, empty in the benchmarks; it gives the description its real size.
    CQorArray<const CBenchmarkTypeClass*> _BaseTypes;
    CQorArray<int32> _FieldOffsets;
    uint64 _nFlags = 0;
};
} // namespace NBenchmarks
} // namespace NQorDynamicType
