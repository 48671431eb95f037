#pragma once

// Out-of-line members of CQorArray; included by qor_array.h only.

// The scratch space of Swap across allocators; qor_array.h includes its definition after this file.
template <typename T, int32 N>
class CQorHybridArray;

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::Relocate( T* pTarget, T* pBegin, T* pEnd )
{
    QOR_ASSERT_MSG( !( pTarget > pBegin && pTarget < pEnd ), "Overlapping memory regions are not allowed" );
    if constexpr ( std::is_trivially_copyable_v<T> )
    {
        if ( pBegin != pEnd )
        {
            std::memmove( static_cast<void*>( pTarget ), static_cast<const void*>( pBegin ),
                          static_cast<size_t>( pEnd - pBegin ) * sizeof( T ) );
        }
    }
    else
    {
        for ( ; pBegin != pEnd; ++pBegin, ++pTarget )
        {
            ::new ( static_cast<void*>( pTarget ) ) T( std::move( *pBegin ) );
            pBegin->~T();
        }
    }
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::ReplaceBuffer( T* pNewData, SizeT nNewCapacity )
{
    QOR_ASSERT( nNewCapacity >= _nSize );
    if ( _nSize > 0 )
    {
        Relocate( pNewData, _pData, _pData + _nSize );
    }
    _pAlloc->Deallocate( _pData );
    _pData = pNewData;
    _nCapacity = nNewCapacity;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::Reserve( SizeT nCapacity )
{
    if ( nCapacity <= _nCapacity )
    {
        return;
    }
    const SGrowth Growth = CalculateGrowth( nCapacity, false );
    ReplaceBuffer( Growth.pData, Growth.nCapacity );
    QOR_ASSERT( nCapacity <= _nCapacity );
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::Resize( SizeT nNewSize )
{
    if ( nNewSize > _nSize )
    {
        Reserve( nNewSize );
        for ( T* pElement = _pData + _nSize; pElement != _pData + nNewSize; ++pElement )
        {
            ::new ( static_cast<void*>( pElement ) ) T();
        }
    }
    else
    {
        DestroyRange( _pData + nNewSize, _pData + _nSize );
    }
    _nSize = nNewSize;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::ShrinkToFit()
{
    if ( _nSize == _nCapacity || _pAlloc->IsFixedBuffer( _pData ) )
    {
        return;
    }
    ReplaceBuffer( _nSize > 0 ? AllocateBuffer( _nSize ) : nullptr, _nSize );
}

template <typename T, typename SizeT>
template <typename... ArgsT>
T* CQorArray<T, SizeT>::AddConstructed( ArgsT&&... Args )
{
    if ( _nSize != _nCapacity )
    {
        T* pElement = ::new ( static_cast<void*>( _pData + _nSize ) ) T( std::forward<ArgsT>( Args )... );
        ++_nSize;
        return pElement;
    }
    // The new element is built first: the arguments may refer to an element of the old buffer.
    const SGrowth Growth = CalculateGrowth( _nSize + 1, true );
    T* pElement = ::new ( static_cast<void*>( Growth.pData + _nSize ) ) T( std::forward<ArgsT>( Args )... );
    Relocate( Growth.pData, _pData, _pData + _nSize );
    AdoptGrown( Growth, _nSize + 1 );
    return pElement;
}

template <typename T, typename SizeT>
template <typename... ArgsT>
T* CQorArray<T, SizeT>::InsertConstructed( SizeT nWhere, ArgsT&&... Args )
{
    QOR_ASSERT( nWhere > -1 && nWhere <= _nSize );
    if ( _nSize != _nCapacity )
    {
        ::new ( static_cast<void*>( _pData + _nSize ) ) T( std::forward<ArgsT>( Args )... );
        ++_nSize;
        std::rotate( _pData + nWhere, _pData + _nSize - 1, _pData + _nSize );
        return _pData + nWhere;
    }
    const SGrowth Growth = CalculateGrowth( _nSize + 1, true );
    T* pElement = ::new ( static_cast<void*>( Growth.pData + nWhere ) ) T( std::forward<ArgsT>( Args )... );
    Relocate( Growth.pData, _pData, _pData + nWhere );
    Relocate( Growth.pData + nWhere + 1, _pData + nWhere, _pData + _nSize );
    AdoptGrown( Growth, _nSize + 1 );
    return pElement;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::Insert( SizeT nWhere, const T* pValues, SizeT nInsertNum )
{
    QOR_ASSERT( nWhere > -1 && nWhere <= _nSize && nInsertNum >= 0 );
    if ( nInsertNum <= 0 )
    {
        return;
    }
    if ( _nSize + nInsertNum <= _nCapacity )
    {
        std::uninitialized_copy( pValues, pValues + nInsertNum, _pData + _nSize );
        const SizeT nOldSize = _nSize;
        _nSize += nInsertNum;
        std::rotate( _pData + nWhere, _pData + nOldSize, _pData + _nSize );
        return;
    }
    const SGrowth Growth = CalculateGrowth( _nSize + nInsertNum, true );
    std::uninitialized_copy( pValues, pValues + nInsertNum, Growth.pData + nWhere );
    Relocate( Growth.pData, _pData, _pData + nWhere );
    Relocate( Growth.pData + nWhere + nInsertNum, _pData + nWhere, _pData + _nSize );
    AdoptGrown( Growth, _nSize + nInsertNum );
}

template <typename T, typename SizeT>
typename CQorArray<T, SizeT>::SRemoveResult CQorArray<T, SizeT>::RemoveRange( SizeT nStartIndex, SizeT nEndIndex )
{
    QOR_ASSERT( nStartIndex >= 0 && nStartIndex <= nEndIndex && nEndIndex <= _nSize );
    const SizeT nRemoved = nEndIndex - nStartIndex;
    if ( nRemoved <= 0 )
    {
        return { 0, _pData + nStartIndex };
    }
    std::move( _pData + nEndIndex, _pData + _nSize, _pData + nStartIndex );
    DestroyRange( _pData + _nSize - nRemoved, _pData + _nSize );
    _nSize -= nRemoved;
    return { nRemoved, _pData + nStartIndex };
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::RemoveSwap( SizeT nIndex )
{
    QOR_ASSERT( _nSize > 0 && nIndex > -1 && nIndex < _nSize );
    T& Last = Back();
    if ( _pData + nIndex != &Last )
    {
        _pData[ nIndex ] = std::move( Last );
    }
    PopBack();
}

template <typename T, typename SizeT>
CQorArray<T, SizeT>& CQorArray<T, SizeT>::operator=( CQorArray&& Other )
{
    if ( this == &Other )
    {
        return *this;
    }
    if ( _pAlloc == Other._pAlloc )
    {
        Clear();
        ReplaceBuffer( nullptr, 0 );
        Swap( Other );
    }
    else
    {
        AssignMoved( Other._pData, Other._nSize );
        Other._nSize = 0;
    }
    return *this;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::AssignMoved( T* pValues, SizeT nCount )
{
    if ( nCount > _nCapacity )
    {
        Clear();
        Reserve( nCount );
        Relocate( _pData, pValues, pValues + nCount );
    }
    else if ( nCount > _nSize )
    {
        for ( SizeT I = 0; I < _nSize; ++I )
        {
            _pData[ I ] = std::move( pValues[ I ] );
            pValues[ I ].~T();
        }
        Relocate( _pData + _nSize, pValues + _nSize, pValues + nCount );
    }
    else
    {
        for ( SizeT I = 0; I < nCount; ++I )
        {
            _pData[ I ] = std::move( pValues[ I ] );
            pValues[ I ].~T();
        }
        DestroyRange( _pData + nCount, _pData + _nSize );
    }
    _nSize = nCount;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::AssignCopied( const T* pValues, SizeT nCount )
{
    if ( nCount > _nCapacity )
    {
        Clear();
        Reserve( nCount );
        std::uninitialized_copy( pValues, pValues + nCount, _pData );
    }
    else if ( nCount > _nSize )
    {
        std::copy( pValues, pValues + _nSize, _pData );
        std::uninitialized_copy( pValues + _nSize, pValues + nCount, _pData + _nSize );
    }
    else
    {
        std::copy( pValues, pValues + nCount, _pData );
        DestroyRange( _pData + nCount, _pData + _nSize );
    }
    _nSize = nCount;
}

template <typename T, typename SizeT>
void CQorArray<T, SizeT>::Swap( CQorArray& Other )
{
    if ( _pAlloc == Other._pAlloc )
    {
        std::swap( _pData, Other._pData );
        std::swap( _nSize, Other._nSize );
        std::swap( _nCapacity, Other._nCapacity );
        return;
    }
    // The smaller side waits in scratch space that holds 256 elements without touching the heap.
    CQorArray& Smaller = _nSize <= Other._nSize ? *this : Other;
    CQorArray& Larger = _nSize <= Other._nSize ? Other : *this;
    CQorHybridArray<T, 256> Scratch;
    CQorArray<T>& ScratchArray = Scratch;
    ScratchArray = std::move( Smaller );
    Smaller = std::move( Larger );
    Larger = std::move( ScratchArray );
}
