#include "qvlib/Unknown.h"

#include <gtest/gtest.h>

namespace
{

using qvlib::CTLUnknown;
using qvlib::ITLUnknown;

template <int N>
class Watched : public CTLUnknown<N>
{
public:
    explicit Watched(int & ended) : m_ended(ended) {}
    Watched(Watched const &) = default;
    ~Watched() override { ++m_ended; }
    using CTLUnknown<N>::InternalAddRef;
    using CTLUnknown<N>::InternalRelease;

private:
    int & m_ended;
};

template <class T>
class UnknownTest : public ::testing::Test
{
};
using Kinds = ::testing::Types<Watched<0>, Watched<1>>;
TYPED_TEST_SUITE(UnknownTest, Kinds);

TYPED_TEST(UnknownTest, EndsWithTheLastReference)
{
    int ended = 0;
    auto * const object = new TypeParam(ended);
    EXPECT_EQ(object->GetRefCount(), 0U); // its maker takes the first
    EXPECT_EQ(object->AddRef(), 1U);
    EXPECT_EQ(object->AddRef(), 2U);
    EXPECT_EQ(object->Release(), 1U);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(object->Release(), 0U);
    EXPECT_EQ(ended, 1);
}

TYPED_TEST(UnknownTest, AnswersForIUnknownAlone)
{
    int ended = 0;
    TypeParam object(ended);
    void * found = &ended;
    EXPECT_EQ(object.QueryInterface(IID_IDispatch, &found), E_NOINTERFACE);
    EXPECT_EQ(found, &ended); // left alone: pinned, callers depend on it
    EXPECT_EQ(object.GetRefCount(), 0U);
    EXPECT_EQ(object.QueryInterface(IID_IUnknown, &found), S_OK);
    EXPECT_EQ(found, static_cast<IUnknown *>(&object));
    EXPECT_EQ(object.GetRefCount(), 1U);
    EXPECT_EQ(object.QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TYPED_TEST(UnknownTest, TheCountAloneDeletesNothingAndIsCopied)
{
    int ended = 0;
    TypeParam object(ended);
    EXPECT_EQ(object.InternalAddRef(), 1U);
    TypeParam const copy(object); // with the count: pinned, callers depend on it
    EXPECT_EQ(copy.GetRefCount(), 1U);
    EXPECT_EQ(object.InternalRelease(), 0U);
    EXPECT_EQ(ended, 0);
    EXPECT_EQ(copy.GetRefCount(), 1U);
}

TEST(Unknown, DeleteCanKeepTheObject)
{
    class Recycled : public CTLUnknown<1>
    {
    public:
        int recycled = 0;

    protected:
        void Delete() override { ++recycled; }
    } object;
    object.AddRef();
    EXPECT_EQ(object.Release(), 0U);
    EXPECT_EQ(object.recycled, 1);
}

TEST(Unknown, AnUncountedObjectIsNotCounted)
{
    struct OnStack final : ITLUnknown
    {
    } object;
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(object.AddRef(), 1U);
        EXPECT_EQ(object.Release(), 1U);
    }
    void * found = nullptr;
    EXPECT_EQ(object.QueryInterface(IID_IUnknown, &found), S_OK);
    EXPECT_EQ(found, &object);
}

} // namespace
