#include "kelcore/utility/RefCounted.h"

#include <boost/intrusive_ptr.hpp>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace kelcore::utility {
namespace {

class Counted : public RefCountedObject {
public:
    explicit Counted(int& destroyed)
        : mDestroyed(destroyed)
    {
    }

protected:
    ~Counted() override { ++mDestroyed; }

private:
    int& mDestroyed;
};

// Hands itself to somebody while it goes, as an object does that signs off with another.
class SignsOff : public Counted {
public:
    using Counted::Counted;

private:
    ~SignsOff() override
    {
        const boost::intrusive_ptr<RefCountedInterface> reference(this);
        const boost::intrusive_ptr<RefCountedInterface> another(reference);
    }
};

TEST(RefCountedObject, StartsWithoutAReference)
{
    int destroyed = 0;
    auto* const object = new Counted(destroyed);

    object->AddRefCount();
    EXPECT_EQ(destroyed, 0);
    object->ReleaseRefCount();

    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedObject, LivesAsLongAsTheLastReference)
{
    int destroyed = 0;
    boost::intrusive_ptr<Counted> first(new Counted(destroyed));
    boost::intrusive_ptr<const RefCountedInterface> second(first);

    first.reset();
    EXPECT_EQ(destroyed, 0);
    second.reset();

    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedObject, IsDestroyedOnceThoughItsDestructorTakesReferences)
{
    int destroyed = 0;

    boost::intrusive_ptr<SignsOff>(new SignsOff(destroyed)).reset();

    EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedObject, CountsForAllThreads)
{
    int destroyed = 0;
    boost::intrusive_ptr<Counted> object(new Counted(destroyed));
    std::vector<std::thread> threads;

    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([object] {
            for (int i = 0; i < 10000; ++i) {
                const boost::intrusive_ptr<Counted> copy(object);
            }
        });
    }
    object.reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();

    EXPECT_EQ(destroyed, 1);
}

} // namespace
} // namespace kelcore::utility
