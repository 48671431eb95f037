#include "qor_core/qor_scopedptr.h"

#include "tests/assert_recorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
int g_nDestroyed = 0;

struct SBase
{
    virtual ~SBase() { ++g_nDestroyed; }
    int nValue = 1;
};

struct SDerived : SBase
{
    ~SDerived() override { ++g_nDestroyed; }
    std::string Text = "a derived object with its own heap text";
};

class CQorScopedPtrTest : public testing::Test
{
protected:
    void SetUp() override { g_nDestroyed = 0; }
};
} // namespace

TEST_F( CQorScopedPtrTest, DeletesThroughTheVirtualDestructorAndHandsTheObjectOver )
{
    {
        CQorScopedPtr<SBase> Owner( new SDerived() );
        ( *Owner ).nValue = 2;
        EXPECT_EQ( Owner->nValue, 2 );
    }
    EXPECT_EQ( g_nDestroyed, 2 );

    CQorScopedPtr<SDerived> Derived( new SDerived() );
    SBase* pObject = Derived.Get();
    CQorScopedPtr<SBase> Base( std::move( Derived ) );
    CQorScopedPtr<SBase> Other( new SBase() );
    Other = std::move( Base );
    EXPECT_TRUE( Derived.IsEmpty() && Base.IsEmpty() && Other.Get() == pObject && g_nDestroyed == 3 );
    SBase* pReleased = Other.Release();
    EXPECT_TRUE( pReleased == pObject && !Other );
    delete pReleased;

    // The array form deletes with delete[].
    CQorScopedPtrImpl<std::string, true> Texts( new std::string[ 3 ] );
    Texts[ 2 ] = "a text long enough to own a heap block";
}

TEST_F( CQorScopedPtrTest, ResetOfItselfAndDereferenceOfNothingReport )
{
    CAssertRecorder Asserts;
    CQorScopedPtr<SBase> Empty;
    Empty.Reset( nullptr );
    EXPECT_TRUE( Asserts.Texts().empty() );
    EXPECT_EQ( Empty.operator->(), nullptr );

    // After the report the object is deleted under its new owner: the assertion is the only protection.
    CQorScopedPtr<SBase> Owner( new SBase() );
    SBase* pObject = Owner.Get();
    Owner.Reset( pObject );
    EXPECT_EQ( Asserts.Texts(), ( std::vector<std::string>{ "_pPtr", "pPtr == nullptr || _pPtr != pPtr" } ) );
    EXPECT_EQ( g_nDestroyed, 1 );
    EXPECT_EQ( Owner.Release(), pObject );
}
