#include <gtest/gtest.h>

#include "srv/isam/env.h"

namespace vesk::isam {
namespace {

TEST(MemEnvTest, ReopenSeesWrites) {
  MemEnv env;
  std::unique_ptr<platform::File> f;
  ASSERT_TRUE(env.OpenFile("d/A.DAT", platform::OpenMode::kCreate, &f).ok());
  ASSERT_TRUE(f->WriteAt(3, std::span<const char>("xy", 2)).ok());
  f.reset();
  ASSERT_TRUE(env.OpenFile("d/A.DAT", platform::OpenMode::kRead, &f).ok());
  char buf[8];
  size_t n = 0;
  ASSERT_TRUE(f->ReadAt(0, buf, &n).ok());
  EXPECT_EQ(std::string(buf, n), std::string("\0\0\0xy", 5));
}

}  // namespace
}  // namespace vesk::isam
