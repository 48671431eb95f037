#pragma once

// Named indices: small integer handles of a family T, each with a name. Code declares static blocks of indices
// with a name and a count during static initialisation; later code creates dynamic ones at run time, and any
// of them is found again by text: "name2" is the third index of the block "name".
// Static indices come first, 0 to GetNumIndices() - 1; dynamic ones are numbered from there upward, so every
// static block must exist before the first dynamic index. A released dynamic index is handed out again.
// One set of function-local statics per T holds the family's state; a reader-writer lock guards the map and
// the dynamic indices, and look-ups take only its reader side, so they run in parallel with each other.

#include "qor_core/container/qor_array.h"
#include "qor_core/container/qor_unordered_set.h"
#include "qor_core/log_deprecated.h"
#include "qor_core/qor_assert.h"
#include "qor_core/qor_charconv.h"
#include "qor_core/qor_hash.h"
#include "qor_core/qor_log_categories.h"
#include "qor_core/qor_string.h"
#include "qor_core/qor_string_view.h"
#include "qor_core/qor_types.h"
#include "qor_core/thread/qor_mutex.h"

#include <atomic>
#include <cstdio>
#include <limits>

namespace NQorNamedIndex
{
struct SNameHasher
{
    uint32 operator()( const CString& Name ) const { return HashBytes( 0, Name.GetData(), uint64( Name.GetSize() ) ); }
};

// One block of indices under one name: a static block of any count, or one dynamic index.
struct SNamedIndexInfo
{
    CString _Name;
    int32 _FirstIndex = -1;
    int32 _Count = -1;
};

// The dynamic indices ever made (_IndexCount), and those released and free for reuse.
struct SDynamicIndices
{
    CQorArray<int32> _FreeIndices;
    int32 _IndexCount = 0;
};
} // namespace NQorNamedIndex

template <typename T> class CQorNamedIndex;

template <typename T> class CQorNamedIndexManager
{
public:
    using SNamedIndexInfo = NQorNamedIndex::SNamedIndexInfo;
    using SDynamicIndices = NQorNamedIndex::SDynamicIndices;
    using CNameMap = NQorUnorderedMap::CQorUnorderedMap<CString, SNamedIndexInfo, NQorNamedIndex::SNameHasher>;

    // The count of static indices.
    static int32 GetNumIndices() { return AccessStaticCounter().load(); }

    // Registers a block of nCount static indices and returns its first index.
    // REQUIRES: no dynamic index exists yet; pName is not registered yet.
    static int32 RegisterStaticBlock( const char* pName, int32 nCount )
    {
        CScopedReadWriteLock Lock( &AccessLock() );
        Lock.WriteLock();
        QOR_ASSERT( AccessDynamicIndices()._IndexCount == 0 );
        const int32 nFirst = AccessStaticCounter().fetch_add( nCount );
        SNamedIndexInfo Info{ CString( pName ), nFirst, nCount };
        QOR_ASSERT_MSG( !AccessMap().Contains( Info._Name ), "Named index '%s' is registered twice", pName );
        AccessMap().Insert( Info._Name, std::move( Info ) );
        return nFirst;
    }

    // A new dynamic index under pName, or under a generated name "_Dynamic_<index>" when pName is null. A
    // name that exists gives the existing block's first index and makes nothing.
    static CQorNamedIndex<T> CreateDynamicIndex( const char* pName )
    {
        CScopedReadWriteLock Lock( &AccessLock() );
        Lock.WriteLock();
        CNameMap& Map = AccessMap();
        if ( pName )
        {
            if ( const SNamedIndexInfo* pExisting = Map.FindValue( CString( pName ) ) )
            {
                return CQorNamedIndex<T>( pExisting->_FirstIndex, SUnchecked() );
            }
        }
        SDynamicIndices& Indices = AccessDynamicIndices();
        int32 nIndex;
        if ( Indices._FreeIndices.IsEmpty() )
        {
            nIndex = GetNumIndices() + Indices._IndexCount;
            ++Indices._IndexCount;
        }
        else
        {
            nIndex = Indices._FreeIndices.Back();
            Indices._FreeIndices.PopBack();
        }
        SNamedIndexInfo NamedIndexInfo{ pName ? CString( pName ) : GenerateName( nIndex ), nIndex, 1 };
        QOR_ASSERT( !AccessMap().Contains( NamedIndexInfo._Name ) );
        if ( SNamedIndexInfo* pTaken = Map.FindValue( NamedIndexInfo._Name ) )
        {
            // A static block took the generated name: the index goes back, and the name keeps its block.
            Indices._FreeIndices.Add( nIndex );
            return CQorNamedIndex<T>( pTaken->_FirstIndex, SUnchecked() );
        }
        Map.Insert( NamedIndexInfo._Name, std::move( NamedIndexInfo ) );
        return CQorNamedIndex<T>( nIndex, SUnchecked() );
    }

    // Erases the index's name and makes the index free for reuse. REQUIRES: Index is a live dynamic index.
    static void ReleaseDynamicIndex( CQorNamedIndex<T> Index )
    {
        CScopedReadWriteLock Lock( &AccessLock() );
        Lock.WriteLock();
        SDynamicIndices& Indices = AccessDynamicIndices();
        QOR_ASSERT( Index.IsDynamicIndex() );
        QOR_ASSERT( Index.GetIndex() < GetNumIndices() + Indices._IndexCount );
        if ( !Index.IsDynamicIndex() || Index.GetIndex() >= GetNumIndices() + Indices._IndexCount )
        {
            return;
        }
        CNameMap& Map = AccessMap();
        auto Iter = Map.begin();
        while ( Iter != Map.end() && Iter->Value._FirstIndex != Index.GetIndex() )
        {
            ++Iter;
        }
        QOR_ASSERT_MSG( Iter != Map.end(), "Iter" );
        if ( Iter != Map.end() )
        {
            Indices._FreeIndices.Add( Index.GetIndex() );
            Map.Erase( Iter );
        }
    }

    // The index of Name: the trailing digits are the offset into the block the text before them names ("name"
    // is "name0"). -1, with a log line, when there is no such block or the offset lies outside it.
    static int32 FindIndex( CQorStringView Name )
    {
        int32 nDigitsStart = Name.GetSize();
        while ( nDigitsStart > 0 && Name.GetData()[nDigitsStart - 1] >= '0' && Name.GetData()[nDigitsStart - 1] <= '9' )
        {
            --nDigitsStart;
        }
        const CString BlockName( Name.GetData(), nDigitsStart );
        SNamedIndexInfo Info;
        bool bFound = false;
        {
            CScopedReadWriteLock Lock( &AccessLock() );
            Lock.ReadLock();
            if ( const auto Iter = AccessMap().Find( BlockName ); Iter != AccessMap().end() )
            {
                Info._FirstIndex = Iter->Value._FirstIndex;
                Info._Count = Iter->Value._Count;
                bFound = true;
            }
        }
        if ( !bFound )
        {
            LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                       "Could not find NamedIndex '%.*s'", Name.GetSize(), Name.GetData() );
            return -1;
        }
        int32 nOffset = 0;
        if ( nDigitsStart < Name.GetSize() &&
             from_chars( Name.GetData() + nDigitsStart, Name.end(), nOffset ).ec != std::errc{} )
        {
            // More digits than an int32 holds: an offset beyond any block.
            nOffset = std::numeric_limits<int32>::max();
        }
        if ( nOffset >= 0 && nOffset < Info._Count )
        {
            return Info._FirstIndex + nOffset;
        }
        LogPrintf( SLogLocation( __FILE__, __LINE__, LOG_CATEGORY_HALVORSUND_ERROR ),
                   "Invalid offset '%d' for NamedIndex '%.*s'", nOffset, Name.GetSize(), Name.GetData() );
        return -1;
    }

    // Whether Index is a static index or a dynamic one that is not released.
    static bool Contains( int32 Index )
    {
        if ( Index >= 0 && Index < GetNumIndices() )
        {
            return true;
        }
        CScopedReadWriteLock Lock( &AccessLock() );
        Lock.ReadLock();
        const SDynamicIndices& Indices = AccessDynamicIndices();
        return Index >= GetNumIndices() && Index < GetNumIndices() + Indices._IndexCount &&
               Indices._FreeIndices.FindIndex( Index ) == -1;
    }

    // The count of dynamic indices ever made; released ones are reused, so it counts the most alive at once.
    static int32 GetDynamicIndexCount()
    {
        CScopedReadWriteLock Lock( &AccessLock() );
        Lock.ReadLock();
        return AccessDynamicIndices()._IndexCount;
    }

private:
    friend class CQorNamedIndex<T>;
    struct SUnchecked
    {
    };

    static CString GenerateName( int32 nIndex )
    {
        char Buffer[32];
        std::snprintf( Buffer, sizeof( Buffer ), "_Dynamic_%i", nIndex );
        return CString( Buffer );
    }

    static std::atomic<int32>& AccessStaticCounter()
    {
        static std::atomic<int32> s_nNumIndices{ 0 };
        return s_nNumIndices;
    }
    static CNameMap& AccessMap()
    {
        static CNameMap s_Map;
        return s_Map;
    }
    static SDynamicIndices& AccessDynamicIndices()
    {
        static SDynamicIndices s_Indices;
        return s_Indices;
    }
    static CReadWriteSpinLock& AccessLock()
    {
        static CReadWriteSpinLock s_Lock;
        return s_Lock;
    }
};

// An index of the family T: one int32, -1 when unset.
template <typename T> class CQorNamedIndex
{
public:
    CQorNamedIndex() = default;
    // A static block of nCount indices named pName; this index is its first. Made during static
    // initialisation, before any dynamic index.
    CQorNamedIndex( const char* pName, int32 nCount )
        : _Index( CQorNamedIndexManager<T>::RegisterStaticBlock( pName, nCount ) )
    {
        QOR_ASSERT( !IsDynamicIndex() );
    }
    // REQUIRES: Index is a static index or a live dynamic one.
    explicit CQorNamedIndex( int32 Index ) : _Index( Index )
    {
        QOR_ASSERT( CQorNamedIndexManager<T>::Contains( Index ) );
    }

    int32 GetIndex() const { return _Index; }
    bool IsValid() const { return _Index != -1; }
    bool IsDynamicIndex() const { return _Index >= CQorNamedIndexManager<T>::GetNumIndices(); }
    bool operator==( const CQorNamedIndex& Other ) const { return _Index == Other._Index; }

private:
    friend class CQorNamedIndexManager<T>;
    CQorNamedIndex( int32 Index, typename CQorNamedIndexManager<T>::SUnchecked ) : _Index( Index ) {}

    int32 _Index = -1;
};
