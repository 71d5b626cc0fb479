"""The text checks for macOS find what they are for, and nothing where all is right."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import check_mac_table  # noqa: E402
import check_portability  # noqa: E402
from source_tree import SourceTree  # noqa: E402


class Portability(unittest.TestCase):
    def rules(self, text):
        return [rule for _, rule in check_portability.findings(text)]

    def test_pieces_of_the_library_that_are_missing(self):
        for piece in ("std::jthread t;", "std::stop_token t;", "std::format(x);",
                      "std::pmr::vector<A> v;", "std::move_only_function<void()> f;",
                      "std::osyncstream(s);",
                      "std::atomic<std::shared_ptr<A>> a;", "std::chrono::utc_clock::now();",
                      "#include <format>", "#  include <memory_resource>"):
            self.assertEqual(self.rules(piece), ["library"], piece)

    def test_pieces_that_are_there(self):
        for piece in ("std::formatter_of_ours f;", "std::atomic<int> a;", "my::format(x);",
                      "// std::format", 'f("std::format");', "std::chrono::steady_clock::now();",
                      "#include <chrono>", "std::shared_ptr<std::atomic<bool>> a;"):
            self.assertEqual(self.rules(piece), [], piece)

    def test_conditions_on_a_platform(self):
        self.assertEqual(self.rules("#ifdef __APPLE__\n#endif"), ["platform"])
        self.assertEqual(self.rules("#  if defined(__linux__)\n#endif"), ["platform"])
        self.assertEqual(self.rules("#if defined(__clang__)\n#endif"), [])

    def test_platform_folders_are_left_alone_and_lines_are_named(self):
        with SourceTree({"core/http/linux/A.cpp": "std::jthread t;\n",
                   "app/mac/B.h": "#ifdef __APPLE__\n",
                   "core/http/C.cpp": "int a;\n\nstd::jthread t;\n"}) as root:
            self.assertEqual(list(check_portability.problems(root)), ["core/http/C.cpp:3: library"])


class Table(unittest.TestCase):
    HEADER = """\
// -[Commented out];
#define KIT_DEFAULT (nullptr)
#define nil nullptr
extern "C" {
typedef struct Opaque* KitRef;
enum KitState : int { KitStateOn = 1, KitStateOff = 2 };
extern const KitRef kKitKey;
extern const int _hidden;
KitRef _Nullable KitCreate(const char* name,
                           void (*callback)(void* context)) __attribute__((cf_returns_retained));
}
constexpr int KitLimit = 3;
@class Other;
@protocol KitDelegate <NSObject>
@optional
- (void)kit:(Kit*)kit didStop:(void (^)(int, NSError* _Nullable))handler;
@end
@interface Kit : NSObject
@property(class, readonly) NSArray<Kit*>* kits;
@property(readonly) NSString* name;
+ (nullable Kit*)kitWithName:(NSString*)name size:(struct Size)size;
- (void)run;
@end
"""
    NAMES = ["+[Kit kitWithName:size:]", "-[Kit run]", "-[KitDelegate kit:didStop:]", "Kit.kits",
             "Kit.name", "KIT_DEFAULT", "KitStateOn", "KitStateOff", "kKitKey", "KitCreate()",
             "KitLimit"]
    CODE = """\
- (void)kit:(Kit*)kit didStop:(Handler)h {}
[[Kit kitWithName:x size:y] run]; Kit.kits; k.name; KIT_DEFAULT; KitStateOn; KitStateOff; kKitKey;
KitCreate(a); KitLimit;
"""

    def problems(self, rows, header=HEADER, code=CODE):
        document = "\n".join(f"| Kit | `{name}` | {since} | words |" for name, since in rows)
        with SourceTree({"docs/macos.md": document, "tests/mac/frameworks/include/Kit/Kit.h": header,
                   "core/x/mac/A.mm": code, "core/x/A.mm": "neverUsed"}) as root:
            return list(check_mac_table.problems(root))

    def rows(self):
        return [(name, "13.0") for name in self.NAMES]

    def test_every_kind_of_interface_is_read(self):
        self.assertEqual(self.problems(self.rows()), [])

    def test_an_interface_that_is_not_listed(self):
        for missing in self.NAMES:
            rows = [row for row in self.rows() if row[0] != missing]
            self.assertEqual(self.problems(rows),
                             [f"docs/macos.md: Kit `{missing}` is declared and not listed"])

    def test_an_interface_that_is_not_declared(self):
        self.assertEqual(self.problems(self.rows() + [("Kit.gone", "10.0")]),
                         ["docs/macos.md: Kit `Kit.gone` is listed and not declared"])

    def test_an_interface_of_a_later_system(self):
        rows = [(name, "13.3" if name == "KitLimit" else "13.0") for name in self.NAMES]
        self.assertEqual(self.problems(rows),
                         ["docs/macos.md: Kit `KitLimit` is newer than the oldest system"])

    def test_an_interface_that_is_listed_twice(self):
        self.assertEqual(self.problems(self.rows() + [("Kit.name", "10.0")]),
                         ["docs/macos.md: an interface is listed twice"])

    def test_an_interface_that_no_adapter_uses(self):
        for name, without in (("KitStateOff", "KitStateOff;"), ("-[Kit run]", "run]"),
                              ("+[Kit kitWithName:size:]", "size:y"),
                              ("KitCreate()", "KitCreate(a)"),
                              ("-[KitDelegate kit:didStop:]", "didStop:")):
            self.assertEqual(self.problems(self.rows(), code=self.CODE.replace(without, "")),
                             [f"tests/mac/frameworks/include: Kit `{name}` is used nowhere"])

    def test_what_the_compiler_calls_for_literals_is_used_by_them(self):
        header = "@interface NSNumber : NSObject\n+ (NSNumber*)numberWithBool:(bool)value;\n@end\n"
        rows = [("+[NSNumber numberWithBool:]", "10.0")]
        self.assertEqual(self.problems(rows, header, "f(@NO);"), [])
        self.assertEqual(len(self.problems(rows, header, "f(NO);")), 1)


if __name__ == "__main__":
    unittest.main()
