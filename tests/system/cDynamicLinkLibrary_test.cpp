#include <gtest/gtest.h>
#include <qnlith/qnlith.h>

#include <memory>

#include "support/thrown_text.h"
#include "test_modules.h"

using namespace testmodules;

namespace {

const std::wstring modulePath = wide(QN_TEST_MODULE);

// The assignment is private; the test reaches it as a member pointer taken
// in an explicit instantiation, where access is not checked.
using Assign = cDynamicLinkLibrary& (cDynamicLinkLibrary::*)(const cDynamicLinkLibrary&);
Assign privateAssign();
template <Assign member>
struct Reach {
  friend Assign privateAssign() { return member; }
};
template struct Reach<&cDynamicLinkLibrary::operator=>;

int call(FARPROC proc, int a, int b) {
  return reinterpret_cast<int (*)(int, int)>(reinterpret_cast<void*>(proc))(a, b);
}

}  // namespace

TEST(DynamicLinkLibrary, ByNameTheModuleLeavesWithTheLastHolder) {
  ASSERT_FALSE(isLoaded(QN_TEST_MODULE));
  auto first = std::make_unique<cDynamicLinkLibrary>(modulePath.c_str());
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE));
  EXPECT_TRUE(first->isOpen());
  // A second object by the short name: the module is found loaded, and
  // fileName still gives the full path.
  auto second = std::make_unique<cDynamicLinkLibrary>(wide(QN_TEST_MODULE_NAME).c_str());
  EXPECT_EQ(std::wstring(second->fileName().c_str()), wide(fullPath(QN_TEST_MODULE)));
  EXPECT_EQ(static_cast<HINSTANCE>(second->handle()), static_cast<HINSTANCE>(first->handle()));
  auto copy = std::make_unique<cDynamicLinkLibrary>(*second);  // loads again: a reference of its own

  first.reset();
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE));
  second.reset();
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE)) << "the copy holds its own reference";
  EXPECT_EQ(std::wstring(copy->loadString(1).c_str()), L"Hello from the module");
  copy.reset();
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));
}

TEST(DynamicLinkLibrary, ByHandleItOnlyRefers) {
  HMODULE module = LoadLibraryW(modulePath.c_str());
  ASSERT_NE(module, nullptr);
  {
    const cDynamicLinkLibrary reference{cModuleHandle(module)};
    EXPECT_EQ(static_cast<HINSTANCE>(reference.handle()), module);
    EXPECT_EQ(std::wstring(reference.fileName().c_str()), wide(fullPath(QN_TEST_MODULE)));
    const cDynamicLinkLibrary copy(reference);
    EXPECT_EQ(static_cast<HINSTANCE>(copy.handle()), module);
  }
  EXPECT_TRUE(isLoaded(QN_TEST_MODULE)) << "neither the object nor its copy freed the module";
  // A cResourceLibrary reference to it loads from its module.
  {
    const cDynamicLinkLibrary reference{cModuleHandle(module)};
    const cResourceLibrary& asLibrary = reference;
    EXPECT_EQ(std::wstring(asLibrary.loadString(2).c_str()), L"Second string");
    EXPECT_EQ(std::wstring(asLibrary.fileName().c_str()), wide(fullPath(QN_TEST_MODULE)));
  }
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));

  // The main program by its handle.
  const cDynamicLinkLibrary main{cModuleHandle(GetModuleHandleW(nullptr))};
  EXPECT_EQ(std::wstring(main.loadString(1).c_str()), L"Main program string");
}

TEST(DynamicLinkLibrary, FailuresOfConstruction) {
  const UINT before = GetErrorMode();
  EXPECT_EQ(thrownText([] { cDynamicLinkLibrary dll(L"libqn-no-such-module.so"); }),
            L"cDynamicLinkLibrary :: open(libqn-no-such-module.so) failed");
  EXPECT_EQ(GetErrorMode(), before) << "the old error mode is back";
  EXPECT_EQ(thrownText([] { cDynamicLinkLibrary dll(wide(QN_TEST_UNRESOLVED).c_str()); }),
            L"cDynamicLinkLibrary :: open(" + wide(QN_TEST_UNRESOLVED) + L") failed");
  EXPECT_EQ(thrownText([] { cDynamicLinkLibrary dll{cModuleHandle(reinterpret_cast<void*>(0x1000))}; }),
            L"cDynamicLinkLibrary :: fileName(): GetModuleFileName failed");
  EXPECT_EQ(thrownText([] { cDynamicLinkLibrary dll{cModuleHandle()}; }),
            L"cDynamicLinkLibrary :: fileName(): GetModuleFileName failed");
}

TEST(DynamicLinkLibrary, ExportsByNameAndOrdinal) {
  const cDynamicLinkLibrary dll(modulePath.c_str());
  const FARPROC add = dll.procAddress(L"qnTestAdd");
  EXPECT_EQ(call(add, 20, 22), 42);
  EXPECT_EQ(dll.procAddress(1u), add);
  EXPECT_EQ(dll.procAddress(0x10001u), add) << "the low 16 bits are the ordinal";
  EXPECT_EQ(dll.procAddress(2u), dll.procAddress(L"qnTestScale"));

  EXPECT_EQ(thrownText([&] { dll.procAddress(L"qnTestMissing"); }),
            L"cDynamicLinkLibrary :: procAddress : GetProcAddress(qnTestMissing): failed");
  // The name reaches the platform as the low byte of each character.
  EXPECT_EQ(thrownText([&] { dll.procAddress(L"\u0171nTestAdd"); }), L"<nothing thrown>") << "U+0171 keeps its low byte 'q'";

  char hex[16];
  std::snprintf(hex, sizeof hex, "%x",
                static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(static_cast<HINSTANCE>(dll.handle()))));
  EXPECT_EQ(thrownText([&] { dll.procAddress(0x10003u); }),
            L"cDynamicLinkLibrary(0x" + wide(hex) + L") :: procAddress : GetProcAddress(by ordinal:65539): failed");

  // 511 characters reach the platform; 512 give null without a word.
  const std::wstring long511(511, L'x');
  EXPECT_EQ(thrownText([&] { dll.procAddress(long511.c_str()); }),
            L"cDynamicLinkLibrary :: procAddress : GetProcAddress(" + long511 + L"): failed");
  const std::wstring long512(512, L'x');
  EXPECT_EQ(dll.procAddress(long512.c_str()), nullptr);
}

TEST(DynamicLinkLibrary, AssignmentOnlyToItself) {
  cDynamicLinkLibrary dll(modulePath.c_str());
  const cDynamicLinkLibrary other(modulePath.c_str());
  const Assign assign = privateAssign();
  EXPECT_EQ(&(dll.*assign)(dll), &dll);
  EXPECT_EQ(thrownText([&] { (dll.*assign)(other); }), L"cDynamicLinkLibrary :: operator = Not Implemented");
  EXPECT_TRUE(dll.isOpen());
}

TEST(DynamicLinkLibrary, AFailedFreeAtTheEndIsSilent) {
  auto dll = std::make_unique<cDynamicLinkLibrary>(modulePath.c_str());
  // Somebody frees the object's reference behind its back.
  EXPECT_TRUE(FreeLibrary(dll->handle()));
  EXPECT_FALSE(isLoaded(QN_TEST_MODULE));
  EXPECT_NO_THROW(dll.reset());
}
