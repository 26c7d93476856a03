#include "upnp/search_jobs.h"

#include <gtest/gtest.h>

#include "core/socket.h"

namespace {

using namespace std::chrono_literals;

constexpr SearchJobs::Time kNow{1000s};

SearchJob job(const std::string& address, const std::string& target = "ssdp:all", std::uint16_t port = 50000) {
    return {target, ipv4_endpoint(ipv4_parse(address), port)};
}

TEST(SearchJobs, ComeOutWhenDueAndInOrder) {
    SearchJobs jobs;
    jobs.add(kNow + 2s, job("10.0.0.1", "late"));
    jobs.add(kNow, job("10.0.0.2", "first"));
    jobs.add(kNow, job("10.0.0.1", "second"));
    EXPECT_FALSE(jobs.take_due(kNow - 1ms));
    EXPECT_EQ(jobs.next_due(), kNow);
    EXPECT_EQ(jobs.take_due(kNow + 1s)->target, "first");
    EXPECT_EQ(jobs.take_due(kNow + 1s)->target, "second");
    EXPECT_FALSE(jobs.take_due(kNow + 1s));
    EXPECT_EQ(jobs.take_due(kNow + 2s)->target, "late");
}

TEST(SearchJobs, RefuseWhoMustNotBeAnsweredAndMoreThanSixteenOfOne) {
    SearchJobs jobs;
    for (const char* address : {"0.0.0.0", "0.1.2.3", "224.0.0.1", "255.255.255.255"})
        EXPECT_FALSE(jobs.add(kNow, job(address))) << address;
    EXPECT_FALSE(jobs.add(kNow, job("10.0.0.1", "ssdp:all", 0)));
    EXPECT_TRUE(jobs.add(kNow, job("223.255.255.254")));
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(jobs.add(kNow + 120s, job("10.0.0.1")));
    EXPECT_FALSE(jobs.add(kNow, job("10.0.0.1", "ssdp:all", 50001)));
    EXPECT_EQ(jobs.size(), 17u);
    ASSERT_TRUE(jobs.take_due(kNow));
    ASSERT_TRUE(jobs.take_due(kNow + 120s));
    EXPECT_TRUE(jobs.add(kNow, job("10.0.0.1")));
}

TEST(SearchJobs, AFloodOfPatientSearchesDoesNotKeepOutAnImpatientOne) {
    SearchJobs jobs;
    for (int i = 0; i < 20'000; ++i) {
        const std::string source = "10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
        jobs.add(kNow + 60s + std::chrono::milliseconds{i}, job(source));
        ASSERT_LE(jobs.size(), 256u);
    }
    EXPECT_EQ(jobs.size(), 256u);
    EXPECT_FALSE(jobs.add(kNow + 120s, job("10.0.0.1")));
    EXPECT_TRUE(jobs.add(kNow + 3s, job("10.0.0.1", "upnp:rootdevice")));
    EXPECT_EQ(jobs.size(), 256u);
    EXPECT_EQ(jobs.take_due(kNow + 3s)->target, "upnp:rootdevice");
}

}  // namespace
