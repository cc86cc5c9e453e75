#include "dsp/dsp_object.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Velmora::KorLib::Dsp {
namespace {

// Derives nothing but the number of its derivations.
class Counting : public DspObject {
public:
    void update() override
    {
        ++updates;
        if (fails) throw std::runtime_error("update failed");
    }

    void setParameter(int value)
    {
        parameter = value;
        changed();
    }

    int updates = 0;
    int parameter = 0;
    bool fails = false;
};

TEST(DspObject, SetterOutsideABatchRecomputesOncePerCallAlsoForAnUnchangedValue)
{
    Counting object;
    object.setParameter(7);
    object.setParameter(7);
    EXPECT_EQ(object.updates, 2);
}

TEST(DspObject, ThreeSettersInOneBracketRecomputeOnceAtItsEnd)
{
    Counting object;
    object.beginUpdate();
    object.setParameter(1);
    object.setParameter(2);
    object.setParameter(3);
    EXPECT_EQ(object.updates, 0);
    object.endUpdate();
    EXPECT_EQ(object.updates, 1);
}

TEST(DspObject, OnlyTheOutermostOfNestedBracketsRecomputes)
{
    Counting object;
    object.beginUpdate();
    object.beginUpdate();
    object.setParameter(1);
    object.endUpdate();
    EXPECT_EQ(object.updates, 0);
    object.endUpdate();
    EXPECT_EQ(object.updates, 1);
}

// An update that calls changed() would lock the mutex a second time, if changed() locked.
TEST(DspObject, ChangedInsideABracketNeitherLocksNorRecomputes)
{
    class Reentrant : public DspObject {
    public:
        void update() override
        {
            beginUpdate();
            changed();
            ++updates;
        }

        int updates = 0;
    };

    Reentrant object;
    object.changed();
    EXPECT_EQ(object.updates, 1);
}

TEST(DspObject, ThrowingUpdateLeavesTheMutexFreeAndTheBatchClosed)
{
    Counting object;
    object.fails = true;
    object.beginUpdate();
    EXPECT_THROW(object.endUpdate(), std::runtime_error);
    EXPECT_THROW(object.changed(), std::runtime_error);
    object.fails = false;
    object.changed();
    EXPECT_EQ(object.updates, 3);
}

TEST(DspObject, CopyMadeInsideABracketIsBatchingToo)
{
    Counting object;
    object.beginUpdate();
    Counting copy(object);
    object.endUpdate();

    copy.setParameter(1);
    EXPECT_EQ(copy.updates, 0);
    copy.endUpdate();
    EXPECT_EQ(copy.updates, 1);
}

TEST(DspObject, AssignmentTakesOverTheDepthOfOpenBatches)
{
    Counting batching;
    batching.beginUpdate();
    Counting object;
    object = batching;
    object.setParameter(1);
    EXPECT_EQ(object.updates, 0);

    const Counting idle;
    object = idle;
    object.setParameter(2);
    EXPECT_EQ(object.updates, 1);
}

TEST(DspObject, SelfAssignmentChangesNothing)
{
    Counting object;
    object.beginUpdate();
    const Counting& same = object;
    object = same;
    object.endUpdate();
    EXPECT_EQ(object.updates, 1);
}

TEST(DspObject, UnbalancedEndSilencesTheObjectForGood)
{
    Counting object;
    object.endUpdate();
    object.setParameter(1);
    object.setParameter(2);
    EXPECT_EQ(object.updates, 0);
}

} // namespace
} // namespace Velmora::KorLib::Dsp
