// The request record: what it keeps and when two records are the same
// subscription.
#include <gtest/gtest.h>

#include "Requester.h"

namespace {

TEST(Requester, KeepsCopiesOfItsArguments) {
    std::string sender = ":1.7";
    std::string subject = "KAE/GET/PRESENCE/";
    CRequester requester(sender.c_str(), 1, 9, subject.c_str(), "in", 4321, nullptr);
    sender[1] = 'X';
    subject.clear();
    EXPECT_EQ(requester.GetSender(), ":1.7");
    EXPECT_EQ(requester.GetSubject(), "KAE/GET/PRESENCE/");
    EXPECT_EQ(requester.GetInput(), "in");
    EXPECT_EQ(requester.GetSenderPort(), "");
    EXPECT_EQ(requester.GetPid(), 4321);
    EXPECT_EQ(requester.GetCMD(), 1);

    CRequester nulls(nullptr, 3, 0, nullptr, nullptr, 0, nullptr);
    EXPECT_EQ(nulls.GetSender(), "");
    EXPECT_EQ(nulls.GetSubject(), "");
}

TEST(Requester, SameSubscriptionMeansSameSenderAndSubject) {
    CRequester a(":1.7", 3, 1, "S/", "x", 1, nullptr);
    CRequester sameButDetails(":1.7", 4, 2, "S/", "y", 2, nullptr);
    CRequester otherSender(":1.8", 3, 1, "S/", "x", 1, nullptr);
    CRequester otherCase(":1.7", 3, 1, "s/", "x", 1, nullptr);
    CRequester prefix(":1.7", 3, 1, "S", "x", 1, nullptr);
    EXPECT_TRUE(a == sameButDetails);
    EXPECT_FALSE(a == otherSender);
    EXPECT_FALSE(a == otherCase);
    EXPECT_FALSE(a == prefix);
}

}  // namespace
