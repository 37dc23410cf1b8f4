// Nev_ptrvec_impl and Nev_object_vector: growth, order, bounds, ownership.
#include "nev/vector.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nev {
namespace {


int slots[100];

std::vector<void*> contents(const Nev_ptrvec_impl& vector) { return {vector.begin(), vector.end()}; }

TEST(Ptrvec, GrowsKeepsOrderAndChecksBounds) {
  for (unsigned initial : {0u, 1u, 8u}) {
    Nev_ptrvec_impl vector(initial);
    EXPECT_TRUE(vector.empty());
    for (int i = 0; i < 100; ++i) vector.push_back(&slots[i]);
    ASSERT_EQ(vector.size(), 100u);
    EXPECT_GE(vector.capacity(), 100u);
    for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(vector.at(i), &slots[i]);
    EXPECT_THROW(vector.at(100), std::out_of_range);
    EXPECT_THROW(vector.erase(100), std::out_of_range);
  }

  Nev_ptrvec_impl vector(2);
  for (int i = 0; i < 5; ++i) vector.push_back(&slots[i]);
  vector.erase(0);
  vector.erase(3);  // the last
  vector.erase(1);  // a middle one
  EXPECT_EQ(contents(vector), (std::vector<void*>{&slots[1], &slots[3]}));
  vector.at(1) = &slots[9];
  EXPECT_EQ(static_cast<const Nev_ptrvec_impl&>(vector).at(1), &slots[9]);

  const unsigned capacity = vector.capacity();
  vector.reserve(1);
  EXPECT_EQ(vector.capacity(), capacity);
  vector.reserve(50);
  EXPECT_EQ(vector.capacity(), 50u);
  EXPECT_EQ(contents(vector), (std::vector<void*>{&slots[1], &slots[9]}));
  vector.clear();
  EXPECT_TRUE(vector.empty());
  EXPECT_THROW(vector.at(0), std::out_of_range);
}

TEST(Ptrvec, MoveAndSwap) {
  Nev_ptrvec_impl a;
  a.push_back(&slots[0]);
  a.push_back(&slots[1]);
  Nev_ptrvec_impl b(std::move(a));
  EXPECT_EQ(a.size(), 0u);  // NOLINT(bugprone-use-after-move)
  a.push_back(&slots[5]);   // a moved-from vector is usable again
  EXPECT_EQ(contents(a), std::vector<void*>{&slots[5]});
  EXPECT_EQ(contents(b), (std::vector<void*>{&slots[0], &slots[1]}));

  a.swap(b);
  EXPECT_EQ(contents(a), (std::vector<void*>{&slots[0], &slots[1]}));
  EXPECT_EQ(contents(b), std::vector<void*>{&slots[5]});

  b = std::move(a);
  EXPECT_EQ(contents(b), (std::vector<void*>{&slots[0], &slots[1]}));
  EXPECT_TRUE(a.empty());  // NOLINT(bugprone-use-after-move)
}

// Counts live instances so that ownership mistakes show up as leaks or
// double deletes (the sanitizer build catches the latter).
struct Counted {
  static int live;
  int value;
  explicit Counted(int v) : value(v) { ++live; }
  Counted(const Counted& other) : value(other.value) { ++live; }
  ~Counted() { --live; }
};
int Counted::live = 0;

TEST(ObjectVector, OwnsItsElements) {
  {
    Nev_object_vector<Counted> vector(1);
    for (int i = 0; i < 4; ++i) vector.push_back(new Counted(i));
    EXPECT_EQ(Counted::live, 4);
    vector.erase(1);
    EXPECT_EQ(Counted::live, 3);
    EXPECT_EQ(vector[1].value, 2);
    Counted* released = vector.release(0);
    EXPECT_EQ(Counted::live, 3);
    delete released;

    Nev_object_vector<Counted> copy(vector);
    EXPECT_EQ(Counted::live, 4);
    vector[0].value = 99;
    EXPECT_EQ(copy[0].value, 2);

    Nev_object_vector<Counted> moved;
    moved.push_back(new Counted(7));
    moved = std::move(copy);  // deletes the 7
    EXPECT_EQ(Counted::live, 4);
    EXPECT_EQ(moved.size(), 2u);
    copy = moved;  // assignment into a moved-from vector
    EXPECT_EQ(Counted::live, 6);
    copy.clear();
    EXPECT_EQ(Counted::live, 4);
    EXPECT_THROW(copy.at(0), std::out_of_range);
  }
  EXPECT_EQ(Counted::live, 0);
}

}  // namespace
}  // namespace nev
