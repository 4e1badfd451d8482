// A scripted double of Extended MAPI: link mapi_double in the place of mapi32. It defines MAPI's entry points,
// answers from a small world (World.h), records every call in order in a printable form, answers otherwise where it
// is told to (Script.h), and knows every live object and block.
//
//     class ListingTest : public mapi_double::MapiDoubleTest {};
//
//     TEST_F(ListingTest, StopsWhereTheTableRefusesTheFilter)
//     {
//         mapi.world.AddMessage("alice", "m2", {Text(PR_SUBJECT_A, "Hello")});
//         mapi.script.Tell("Table(alice/Inbox).Restrict", Fails(MAPI_E_TOO_COMPLEX).Nth(1));
//         mapi.recorder.Forget();
//         ... call the code under test ...
//         EXPECT_THAT(mapi.recorder.Calls(), ElementsAre("Store(alice).GetReceiveFolder(NULL, 0, NULL)", ...));
//     }
//
// A call is told by its object's name ("Table(stores).Restrict"), its kind ("Table.Restrict"), its function name
// ("MAPILogonEx") or its whole text with arguments, as the recorder prints it. Every test ends with no object and no
// block left; a fixture of one's own closes what it holds before it calls MapiDoubleTest::TearDown.
#pragma once
#include "support/Com.h"
#include "support/Memory.h"
#include "support/Notifications.h"
#include "support/Print.h"
#include "support/Sweep.h"
#include "support/World.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mapi_double
{

struct Double {
    Recorder &recorder = TheRecorder();
    Script &script = TheScript();
    World &world = TheWorld();

    // The default world, nothing told, nothing recorded.
    void Reset();
    void ExpectNothingLeft() const;
    void ExpectNoMisuse() const;
};

class MapiDoubleTest : public testing::Test
{
  protected:
    MapiDoubleTest() { m_mapi.Reset(); }
    void TearDown() override
    {
        m_mapi.ExpectNothingLeft();
        m_mapi.ExpectNoMisuse();
    }
    Double m_mapi;
};

} // namespace mapi_double
