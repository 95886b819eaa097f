// SPDX-License-Identifier: Apache-2.0
#include "smbhosts.h"

#include <gtest/gtest.h>

#include <string>

namespace navo::test {
namespace {

using NAVO::platform::AdmitsHost;
using NAVO::platform::IsHostAddress;

bool Lists(const std::string& list, const std::string& address) {
    return AdmitsHost(list, "ALL", address);
}

TEST(SmbHostsTest, AddressesAreOfBothKinds) {
    for (const char* address : {"192.168.1.5", "::1", "fe80::1%eth0", "::ffff:10.0.0.1"}) {
        EXPECT_TRUE(IsHostAddress(address)) << address;
    }
    for (const char* text : {"", "host", "10.0.0", "10.0.0.1/8", "1.2.3.4.5", "[::1]"}) {
        EXPECT_FALSE(IsHostAddress(text)) << text;
    }
}

TEST(SmbHostsTest, WithoutListsEverybodyIsAdmitted) {
    EXPECT_TRUE(AdmitsHost("", "", "10.0.0.1"));
}

TEST(SmbHostsTest, AnAllowListAdmitsItsHostsAlone) {
    EXPECT_TRUE(AdmitsHost("10.0.0.1", "", "10.0.0.1"));
    EXPECT_FALSE(AdmitsHost("10.0.0.1", "", "10.0.0.2"));
}

TEST(SmbHostsTest, ADenyListRefusesItsHostsAlone) {
    EXPECT_FALSE(AdmitsHost("", "10.0.0.1", "10.0.0.1"));
    EXPECT_TRUE(AdmitsHost("", "10.0.0.1", "10.0.0.2"));
}

TEST(SmbHostsTest, TheAllowListWinsOverTheDenyList) {
    EXPECT_TRUE(AdmitsHost("10.0.0.1", "10.", "10.0.0.1"));
    EXPECT_FALSE(AdmitsHost("10.0.0.1", "10.", "10.0.0.2"));
    EXPECT_TRUE(AdmitsHost("10.0.0.1", "10.", "11.0.0.1"));
}

TEST(SmbHostsTest, TheMachineItselfIsAdmittedUnlessItIsDenied) {
    for (const char* address : {"127.0.0.1", "::1"}) {
        EXPECT_TRUE(AdmitsHost("10.0.0.1", "", address));
        EXPECT_FALSE(AdmitsHost("10.0.0.1", "ALL", address));
        EXPECT_TRUE(AdmitsHost(address, "ALL", address));
    }
}

TEST(SmbHostsTest, AnEntryIsANetworkInEachSpelling) {
    EXPECT_TRUE(Lists("150.203.", "150.203.4.5"));
    EXPECT_FALSE(Lists("150.203.", "150.20.3.4"));
    EXPECT_TRUE(Lists("10.0.0.0/8", "10.9.9.9"));
    EXPECT_FALSE(Lists("10.0.0.0/8", "11.9.9.9"));
    EXPECT_TRUE(Lists("150.203.15.0/255.255.255.0", "150.203.15.9"));
    EXPECT_FALSE(Lists("150.203.15.0/255.255.255.0", "150.203.16.9"));
    EXPECT_TRUE(Lists("0.0.0.0/0", "1.2.3.4"));
    EXPECT_TRUE(Lists("10.*", "10.1.2.3"));
    EXPECT_TRUE(Lists("10.0.0.?", "10.0.0.7"));
}

TEST(SmbHostsTest, AnEntryIsANetworkOfTheOtherKindToo) {
    EXPECT_TRUE(Lists("2001:db8::/32", "2001:db8:1::5"));
    EXPECT_TRUE(Lists("[2001:db8::]/32", "2001:db8:1::5"));
    EXPECT_FALSE(Lists("2001:db8::/32", "2001:db9::5"));
    EXPECT_TRUE(Lists("2001:db8::5/128", "2001:db8:0::5"));
    EXPECT_TRUE(Lists("2001:DB8::5", "2001:db8:0:0::5"));
    EXPECT_FALSE(Lists("::/0", "10.0.0.1"));
}

TEST(SmbHostsTest, AnAddressInTheOtherSpellingIsTheSame) {
    EXPECT_TRUE(Lists("10.0.0.1", "::ffff:10.0.0.1"));
    EXPECT_TRUE(Lists("::ffff:10.0.0.1", "10.0.0.1"));
}

TEST(SmbHostsTest, ExceptTakesHostsOut) {
    EXPECT_TRUE(Lists("150.203. EXCEPT 150.203.6.66", "150.203.6.65"));
    EXPECT_FALSE(Lists("150.203. except 150.203.6.66", "150.203.6.66"));
    EXPECT_FALSE(Lists("EXCEPT 10.0.0.1", "10.0.0.2"));
}

TEST(SmbHostsTest, NamesAndNonsenseListNobody) {
    for (const char* entry : {"lapland", ".example.com", "@foonet", "LOCAL", "10.0.0.1/33",
                              "10.0.0.1/", "10.0.0.1/x", "/8", "[", "1.2.3.4.5"}) {
        EXPECT_FALSE(Lists(entry, "10.0.0.1")) << entry;
    }
}

TEST(SmbHostsTest, WhatIsNoAddressIsAdmittedOnlyWithoutLists) {
    EXPECT_TRUE(AdmitsHost("", "", "host"));
    EXPECT_FALSE(AdmitsHost("ALL", "", "host"));
    EXPECT_FALSE(AdmitsHost("", "10.", "host"));
}

}  // namespace
}  // namespace navo::test
