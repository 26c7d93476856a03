#include "upnp/soap_arguments.h"

#include <gtest/gtest.h>

TEST(SoapArguments, AreTakenByTheirExactNamesWhereverTheySit) {
    const auto body = xml_parse(
        "<e><x:ObjectID>1</x:ObjectID><deep><ObjectID>2&amp;3</ObjectID></deep><ObjectID>4</ObjectID>"
        "<StartingIndex> 12 of 20</StartingIndex><RequestedCount>4294967295</RequestedCount><filter>no</filter>"
        "<SortCriteria></SortCriteria></e>");
    const BrowseArguments arguments = soap_browse_arguments(body.get(), "ObjectID");
    EXPECT_EQ(arguments.object_id, "2&3");
    EXPECT_EQ(arguments.filter, std::nullopt);
    EXPECT_EQ(arguments.starting_index, 12);
    EXPECT_EQ(arguments.requested_count, -1);
    EXPECT_EQ(arguments.sort_criteria, "");
    EXPECT_EQ(soap_browse_arguments(body.get(), "ContainerID").object_id, std::nullopt);
    EXPECT_EQ(soap_browse_arguments(nullptr, "ObjectID").object_id, std::nullopt);
}
