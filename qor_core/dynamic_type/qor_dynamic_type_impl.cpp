#include "qor_core/dynamic_type/qor_dynamic_type_impl.h"

#include "qor_core/container/qor_container_utils.h"

namespace NQorDynamicType
{
int32 CTypeLibraryIndexManager::Acquire()
{
    CScopedLock<CMutex> Lock( &_Mutex );
    if ( _FreeIndices.IsEmpty() )
    {
        return _nNextIndex++;
    }
    const int32 nIndex = _FreeIndices.Back();
    _FreeIndices.PopBack();
    return nIndex;
}

void CTypeLibraryIndexManager::Release( int32 nIndex )
{
    CScopedLock<CMutex> Lock( &_Mutex );
    // In front of the first smaller index, so the array stays descending.
    const int32* pWhere = LowerBound( _FreeIndices.begin(), _FreeIndices.end(), nIndex,
                                      []( int32 nFree, int32 nReleased ) { return nFree >= nReleased; } );
    _FreeIndices.Insert( static_cast<int32>( pWhere - _FreeIndices.begin() ), nIndex );
}

namespace NBenchmarks
{
CBenchmarkTypeClass::~CBenchmarkTypeClass()
{
    // Through volatile: the store must outlive the object, which the compiler may otherwise treat as dead.
    *static_cast<const void* volatile*>( &_pStaticId ) = nullptr;
}
} // namespace NBenchmarks
} // namespace NQorDynamicType
