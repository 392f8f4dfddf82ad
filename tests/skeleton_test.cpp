#include <gtest/gtest.h>

#include "host/xml/detail/XmlDom.h"

TEST(Skeleton, DomHeaderCompiles) { EXPECT_EQ(sizeof(xmldsig::dom::NodeType), 1u); }
