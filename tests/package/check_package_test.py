#!/usr/bin/env python3
"""Tests of the package writer and the package check: packages and libraries the check must
accept and, above all, ones it must reject. The libraries are built here from a few lines of C
with the host's compiler and, where they are installed, the Windows (mingw-w64) and LLVM
(clang, lld, llvm-lipo) toolchains; a test whose toolchain is missing is reported as skipped.

    check_package_test.py [--library BUILT_LIBRARY] [--cc HOST_C_COMPILER] [unittest options]
"""

import argparse
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "scripts"))
from plugin_package import archive_check, elf, library_check, writer  # noqa: E402
from plugin_package.platforms import BY_FOLDER  # noqa: E402

OPTIONS = argparse.Namespace(library=None, cc="cc")

ENTRY = "void REALPluginMain(void* resolver) { (void)resolver; }\n"
EXTRA = "int ExtraFunction(void) { return 42; }\n"
VISIBLE = "__attribute__((visibility(\"default\"))) "
HELP_PATH = "IDE Resources/Help/index.html"
HELP = b"<!DOCTYPE html>\n<html><body><p>RTFDataZVK</p></body></html>\n"
DOCS = os.path.join(HERE, "..", "..", "scripts", "docs_sections.py")


def find_tool(name):
    """A tool by its plain name or, as Debian installs LLVM, with a version suffix."""
    found = shutil.which(name)
    if found:
        return found
    for folder in os.environ.get("PATH", "").split(os.pathsep):
        candidates = sorted(glob.glob(os.path.join(folder, name + "-[0-9]*")), reverse=True)
        if candidates:
            return candidates[0]
    return None


MINGW64 = find_tool("x86_64-w64-mingw32-gcc-posix") or find_tool("x86_64-w64-mingw32-gcc")
MINGW32 = find_tool("i686-w64-mingw32-gcc-posix") or find_tool("i686-w64-mingw32-gcc")
CLANG = find_tool("clang")
LD_LLD = find_tool("ld.lld")
LLD_LINK = find_tool("lld-link")
LD64_LLD = find_tool("ld64.lld")
LIPO = find_tool("llvm-lipo")


class Workdir:
    """A temporary folder that builds small libraries from C source."""

    def __init__(self):
        self.path = tempfile.mkdtemp(prefix="pendlow-package-test-")

    def remove(self):
        shutil.rmtree(self.path, ignore_errors=True)

    def file(self, name, content=None):
        path = os.path.join(self.path, name)
        if content is not None:
            mode = "wb" if isinstance(content, bytes) else "w"
            with open(path, mode) as f:
                f.write(content)
        return path

    def run(self, *command):
        done = subprocess.run(command, cwd=self.path, capture_output=True, text=True)
        if done.returncode != 0:
            raise AssertionError("%s failed:\n%s%s" % (" ".join(command), done.stdout, done.stderr))

    def build(self, name, source, compiler, *flags):
        """Compiles and links a shared library from C source; returns its bytes."""
        src = self.file(name + ".c", source)
        out = self.file(name)
        self.run(compiler, *flags, "-o", out, src)
        with open(out, "rb") as f:
            return f.read()


def read(path):
    with open(path, "rb") as f:
        return f.read()


def problems(folder, data, floors=None):
    return library_check.check(BY_FOLDER[folder], data, floors).problems


class RemovesWorkdir:
    """Mixin for a test class whose setUpClass makes cls.work: removes it after the tests."""

    @classmethod
    def tearDownClass(cls):
        cls.work.remove()


class CheckAssertions(unittest.TestCase):
    def assertAccepted(self, folder, data):
        found = problems(folder, data)
        self.assertEqual(found, [], "the check rejected a good library for " + folder)

    def assertRejected(self, folder, data, *words):
        found = problems(folder, data)
        self.assertTrue(found, "the check accepted a bad library for " + folder)
        text = "\n".join(found)
        for word in words:
            self.assertIn(word, text)


class HostElfLibraries(RemovesWorkdir, CheckAssertions):
    """Libraries from the host's C compiler (an ELF shared object on Linux)."""

    @classmethod
    def setUpClass(cls):
        cls.work = Workdir()
        flags = ["-shared", "-fPIC", "-fvisibility=hidden"]
        cc = OPTIONS.cc
        cls.good = cls.work.build("good.so", VISIBLE + ENTRY, cc, *flags)
        cls.extra = cls.work.build("extra.so", VISIBLE + ENTRY + VISIBLE + EXTRA, cc, *flags)
        cls.no_entry = cls.work.build("noentry.so", VISIBLE + EXTRA, cc, *flags)
        cls.work.build("libhelper.so", VISIBLE + EXTRA, cc, *flags)
        cls.with_helper = cls.work.build(
            "withhelper.so",
            VISIBLE + ENTRY,
            cc,
            *flags,
            "-Wl,--no-as-needed",
            "-L" + cls.work.path,
            "-lhelper",
        )
        cls.folder = library_check.identify(cls.good)

    def test_the_host_compiler_builds_for_a_known_platform_folder(self):
        self.assertIn(self.folder, [p for p in BY_FOLDER if p.startswith("Linux")])

    def test_a_library_exporting_only_the_entry_point_passes(self):
        self.assertAccepted(self.folder, self.good)

    def test_an_extra_exported_symbol_is_rejected(self):
        self.assertRejected(self.folder, self.extra, "ExtraFunction")

    def test_a_library_without_the_entry_point_is_rejected(self):
        self.assertRejected(self.folder, self.no_entry, "does not export REALPluginMain")

    def test_a_library_in_another_architectures_folder_is_rejected(self):
        for other in ("Linux x86-64", "Linux X86", "Linux arm64", "Linux ARM"):
            if other != self.folder:
                self.assertRejected(other, self.good, "the folder needs")

    def test_a_library_needing_more_than_the_runtimes_is_rejected(self):
        self.assertRejected(self.folder, self.with_helper, "libhelper.so")

    def test_other_formats_are_rejected(self):
        self.assertRejected("Windows x86-64", self.good, "cannot be read")
        self.assertRejected("Mac Universal", self.good, "cannot be read")
        self.assertRejected(self.folder, b"\x7fELF\x02\x01", "cannot be read")
        self.assertRejected(self.folder, b"not a library at all", "cannot be read")


class BuiltLibrary(CheckAssertions):
    """The library the build made, as the package will carry it."""

    @classmethod
    def setUpClass(cls):
        if not OPTIONS.library:
            raise unittest.SkipTest("no built library given (--library)")
        cls.data = read(OPTIONS.library)
        cls.folder = library_check.identify(cls.data)

    def test_the_built_library_passes_in_its_folder(self):
        self.assertIsNotNone(self.folder, library_check.describe(self.data))
        self.assertAccepted(self.folder, self.data)

    def test_a_lower_glibc_floor_rejects_it(self):
        if not self.data.startswith(b"\x7fELF"):
            self.skipTest("not a Linux library")
        needs = elf.parse(self.data).version_needs
        for prefix in ("GLIBC", "GLIBCXX"):
            highest = elf.highest_version(needs, prefix)
            self.assertIsNotNone(highest, "the library asks for no %s version" % prefix)
            lower = highest[:-1] + (highest[-1] - 1,)
            floors = library_check.Floors()
            setattr(floors, prefix.lower(), lower)
            found = "\n".join(problems(self.folder, self.data, floors))
            self.assertIn("needs %s_%s" % (prefix, ".".join(map(str, highest))), found)


class Packages(RemovesWorkdir, unittest.TestCase):
    """Writing a package and checking its tree."""

    @classmethod
    def setUpClass(cls):
        cls.work = Workdir()
        if OPTIONS.library:
            cls.library = read(OPTIONS.library)
        else:
            cls.library = cls.work.build(
                "good.so", VISIBLE + ENTRY, OPTIONS.cc, "-shared", "-fPIC", "-fvisibility=hidden"
            )
        cls.folder = library_check.identify(cls.library)
        cls.name = BY_FOLDER[cls.folder].library

    def stage(self, name, files):
        """A staged tree under <work>/<name>/Pendlow with {relative path: bytes}."""
        top = os.path.join(self.work.path, name, "Pendlow")
        for relative, data in files.items():
            path = os.path.join(top, relative)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as f:
                f.write(data)
        return top

    def package(self, name, files):
        output = os.path.join(self.work.path, name + ".xojo_plugin")
        writer.write(self.stage(name, files), output)
        return output

    def zip_of(self, name, entries):
        """A ZIP written directly, for shapes the writer would never make."""
        output = os.path.join(self.work.path, name + ".xojo_plugin")
        with zipfile.ZipFile(output, "w") as archive:
            for entry, data in entries:
                info = zipfile.ZipInfo(entry, date_time=writer.DEFAULT_TIME)
                archive.writestr(info, data)
        return output

    def library_path(self, folder=None):
        folder = folder or self.folder
        return "Build Resources/%s/%s" % (folder, BY_FOLDER[folder].library)

    def assertPasses(self, path, required):
        report = archive_check.check(path, required)
        self.assertEqual(report.problems, [])

    def assertFails(self, path, required, *words):
        report = archive_check.check(path, required)
        self.assertTrue(report.problems, "the check accepted a bad package")
        text = "\n".join(report.problems)
        for word in words:
            self.assertIn(word, text)

    def test_writing_twice_gives_identical_bytes_whatever_the_files_dates_and_modes(self):
        first = self.package("first", {self.library_path(): self.library})
        second_top = self.stage("second", {self.library_path(): self.library})
        for folder, _, files in os.walk(second_top):
            for path in [folder] + [os.path.join(folder, f) for f in files]:
                os.utime(path, (981173106, 981173106))  # 2001-02-03
            for f in files:
                os.chmod(os.path.join(folder, f), 0o600)
        second = os.path.join(self.work.path, "second.xojo_plugin")
        writer.write(second_top, second)
        self.assertEqual(read(first), read(second))
        self.assertPasses(first, [self.folder])

    def test_the_archive_holds_the_tree_in_sorted_order_with_fixed_metadata(self):
        path = self.package("tree", {self.library_path(): self.library})
        with zipfile.ZipFile(path) as archive:
            entries = archive.infolist()
            self.assertEqual(
                [e.filename for e in entries],
                [
                    "Pendlow/",
                    "Pendlow/Build Resources/",
                    "Pendlow/Build Resources/%s/" % self.folder,
                    "Pendlow/" + self.library_path(),
                ],
            )
            for e in entries:
                self.assertEqual(e.date_time, (1980, 1, 1, 0, 0, 0))
                self.assertEqual(e.extra, b"")
                self.assertEqual(e.create_system, 3)
            self.assertEqual(entries[-1].external_attr >> 16, 0o100755)
            self.assertEqual(archive.read(entries[-1]), self.library)

    def test_source_date_epoch_sets_the_timestamp(self):
        os.environ["SOURCE_DATE_EPOCH"] = "1700000001"  # 2023-11-14 22:13:21 UTC
        try:
            path = self.package("epoch", {self.library_path(): self.library})
        finally:
            del os.environ["SOURCE_DATE_EPOCH"]
        with zipfile.ZipFile(path) as archive:
            stamps = {e.date_time for e in archive.infolist()}
        self.assertEqual(stamps, {(2023, 11, 14, 22, 13, 20)})
        self.assertPasses(path, [self.folder])

    def test_a_misspelt_platform_folder_is_rejected(self):
        wrong = "Build Resources/%s/%s" % (self.folder.replace("-", "_").lower(), self.name)
        path = self.package("misspelt", {wrong: self.library})
        self.assertFails(path, [], "unknown platform folder", "did you mean '%s'" % self.folder)

    def test_a_required_folder_that_is_missing_is_reported(self):
        path = self.package("missing", {self.library_path(): self.library})
        self.assertFails(path, [self.folder, "Windows"], "missing platform folder")

    def test_a_library_in_the_wrong_platform_folder_is_rejected(self):
        other = "Linux ARM" if self.folder != "Linux ARM" else "Linux x86-64"
        path = self.package("wrongfolder", {self.library_path(other): self.library})
        self.assertFails(path, [], "the folder needs")

    def test_a_wrongly_named_library_is_rejected(self):
        path = self.package("name", {"Build Resources/%s/other.so" % self.folder: self.library})
        self.assertFails(path, [], "must be named")

    def test_a_second_library_in_a_folder_is_rejected(self):
        files = {self.library_path(): self.library}
        files["Build Resources/%s/second.so" % self.folder] = self.library
        self.assertFails(self.package("second-lib", files), [], "must be named")

    def test_anything_outside_the_one_top_folder_is_rejected(self):
        path = self.zip_of(
            "macosx",
            [
                ("Pendlow/" + self.library_path(), self.library),
                ("__MACOSX/._Pendlow", b"finder data"),
            ],
        )
        self.assertFails(path, [], "__MACOSX", "outside")
        path = self.zip_of("ide", [("Pendlow/IDE Resources/Controls Palette/icon.png", b"png")])
        self.assertFails(path, [], "IDE Resources")

    def test_an_archive_with_real_file_times_is_not_reproducible(self):
        path = os.path.join(self.work.path, "plain.xojo_plugin")
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr(zipfile.ZipInfo("Pendlow/", (2020, 1, 1, 0, 0, 0)), b"")
            info = zipfile.ZipInfo("Pendlow/" + self.library_path(), (2024, 5, 6, 7, 8, 10))
            archive.writestr(info, self.library)
        self.assertFails(path, [], "different timestamps")

    def test_entries_out_of_order_are_rejected(self):
        path = self.zip_of(
            "order", [("Pendlow/" + self.library_path(), self.library), ("Pendlow/", b"")]
        )
        self.assertFails(path, [], "sorted order")

    def test_a_file_that_is_not_a_zip_is_rejected(self):
        path = self.work.file("broken.xojo_plugin", b"PK\x03\x04 and then nothing")
        self.assertFails(path, [], "not a readable ZIP")

    def test_the_command_line_exits_non_zero_on_a_bad_package(self):
        wrong = "Build Resources/Linux/%s" % self.name
        path = self.package("cli", {wrong: self.library})
        script = os.path.join(HERE, "..", "..", "scripts", "check_package.py")
        done = subprocess.run(
            [sys.executable, script, path, "--require", "none"], capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertIn("FAIL: ", done.stdout)
        good = self.package("cli-good", {self.library_path(): self.library, HELP_PATH: HELP})
        done = subprocess.run(
            [sys.executable, script, good, "--require", self.folder], capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("Pendlow/%s: %d bytes" % (HELP_PATH, len(HELP)), done.stdout)
        # The command line requires the help page.
        bare = self.package("cli-no-help", {self.library_path(): self.library})
        done = subprocess.run(
            [sys.executable, script, bare, "--require", self.folder], capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertIn("FAIL: missing help page: Pendlow/" + HELP_PATH, done.stdout)

    def assertHelp(self, name, files, *words):
        files = dict(files)
        files[self.library_path()] = self.library
        path = self.package(name, files)
        report = archive_check.check(path, [self.folder], require_help=True)
        if not words:
            self.assertEqual(report.problems, [])
            return path
        self.assertTrue(report.problems, "the check accepted a bad help folder")
        for word in words:
            self.assertIn(word, "\n".join(report.problems))
        return path

    def test_the_help_page_beside_the_libraries_passes(self):
        path = self.assertHelp("help", {HELP_PATH: HELP})
        with zipfile.ZipFile(path) as archive:
            self.assertEqual(
                [e.filename for e in archive.infolist()][:4],
                [
                    "Pendlow/",
                    "Pendlow/Build Resources/",
                    "Pendlow/Build Resources/%s/" % self.folder,
                    "Pendlow/" + self.library_path(),
                ],
            )
            page = archive.getinfo("Pendlow/" + HELP_PATH)
            self.assertEqual(page.external_attr >> 16, 0o100644)
            self.assertEqual(archive.read(page), HELP)

    def test_a_missing_help_page_is_reported_when_required(self):
        self.assertHelp("no-help", {}, "missing help page: Pendlow/" + HELP_PATH)
        path = self.package("no-help-optional", {self.library_path(): self.library})
        self.assertPasses(path, [self.folder])

    def test_the_help_folder_holds_only_its_page(self):
        self.assertHelp(
            "help-extra", {HELP_PATH: HELP, "IDE Resources/Help/style.css": b"p {}"}, "style.css"
        )
        self.assertHelp(
            "help-sub",
            {HELP_PATH: HELP, "IDE Resources/Help/images/a.png": b"png"},
            "no subfolders",
        )
        self.assertHelp("help-name", {"IDE Resources/Help/Index.html": HELP}, "missing help page")
        self.assertHelp(
            "help-beside", {HELP_PATH: HELP, "IDE Resources/readme.txt": b"x"}, "readme.txt"
        )

    def test_a_help_page_that_is_not_html_is_rejected(self):
        self.assertHelp("help-text", {HELP_PATH: b"just text\n"}, "not an HTML page")
        self.assertHelp("help-latin1", {HELP_PATH: b"<!DOCTYPE html>\xe9</html>"}, "not UTF-8")


class DocsSections(unittest.TestCase):
    """The README's sections for Xojo users and the IDE's help page come from docs/*.md."""

    def run_docs(self, *args):
        return subprocess.run([sys.executable, DOCS] + list(args), capture_output=True, text=True)

    def test_the_readme_holds_exactly_the_docs_sections(self):
        done = self.run_docs("check")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_a_readme_copy_that_differs_is_reported_and_sync_repairs_it(self):
        work = tempfile.mkdtemp()
        try:
            root = os.path.join(HERE, "..", "..")
            os.makedirs(os.path.join(work, "docs"))
            for name in ("README.md", "docs/xojo.md", "docs/limitations.md"):
                shutil.copy(os.path.join(root, name), os.path.join(work, name))
            with open(os.path.join(work, "docs", "limitations.md"), "a", encoding="utf-8") as f:
                f.write("\nOne more line.\n")
            done = self.run_docs("--root", work, "check")
            self.assertEqual(done.returncode, 1, done.stdout)
            self.assertIn("the section from docs/limitations.md differs", done.stdout)
            self.assertIn("\n-One more line.\n", done.stdout)  # in the docs file, not the copy
            self.assertEqual(self.run_docs("--root", work, "sync").returncode, 0)
            done = self.run_docs("--root", work, "check")
            self.assertEqual(done.returncode, 0, done.stdout)
            self.assertIn("\nOne more line.\n", read(os.path.join(work, "README.md")).decode())
        finally:
            shutil.rmtree(work)

    def test_the_help_page_is_the_same_bytes_every_time_and_passes_the_check(self):
        work = tempfile.mkdtemp()
        try:
            pages = []
            for n in range(2):
                path = os.path.join(work, "index%d.html" % n)
                done = self.run_docs("html", path)
                self.assertEqual(done.returncode, 0, done.stderr)
                pages.append(read(path))
            self.assertEqual(pages[0], pages[1])
            top = os.path.join(work, "Pendlow")
            os.makedirs(os.path.join(top, "IDE Resources", "Help"))
            shutil.copy(os.path.join(work, "index0.html"), os.path.join(top, HELP_PATH))
            package = os.path.join(work, "p.xojo_plugin")
            writer.write(top, package)
            report = archive_check.check(package, [], require_help=True)
            self.assertEqual(report.problems, [])
        finally:
            shutil.rmtree(work)

    def test_the_help_page_carries_every_section_and_example(self):
        work = tempfile.mkdtemp()
        try:
            path = os.path.join(work, "index.html")
            self.assertEqual(self.run_docs("html", path).returncode, 0)
            page = read(path).decode("utf-8")
        finally:
            shutil.rmtree(work)
        docs = os.path.join(HERE, "..", "..", "docs")
        for name in ("xojo.md", "limitations.md"):
            with open(os.path.join(docs, name), encoding="utf-8") as f:
                text = f.read()
            for line in text.splitlines():
                if line.startswith("#"):
                    self.assertIn(">%s<" % line.lstrip("#").strip(), page)
                if line.strip().startswith("{\\rtf1") or line.strip().startswith("\u2192 "):
                    escaped = line.strip().replace("&", "&amp;").replace("<", "&lt;")
                    self.assertIn(escaped.replace(">", "&gt;"), page)
        for word in ("RTFDataZVK", "SkipParagraphs", "Debugging", "TextInputStream.Open"):
            self.assertIn(word, page)


@unittest.skipUnless(MINGW64 and MINGW32, "mingw-w64 C compilers are not installed")
class WindowsLibraries(RemovesWorkdir, CheckAssertions):
    """DLLs from mingw-w64, as the Windows presets build them."""

    DLLEXPORT = "__declspec(dllexport) "

    @classmethod
    def setUpClass(cls):
        cls.work = Workdir()
        flags = ["-shared", "-static-libgcc"]
        x = cls.DLLEXPORT
        cls.good64 = cls.work.build("good64.dll", x + ENTRY, MINGW64, *flags)
        cls.good32 = cls.work.build("good32.dll", x + ENTRY, MINGW32, *flags)
        cls.extra = cls.work.build("extra.dll", x + ENTRY + x + EXTRA, MINGW64, *flags)
        user32 = "#include <windows.h>\n" + x + "void REALPluginMain(void* r) { "
        user32 += "MessageBoxA(0, r, r, 0); }\n"
        cls.user32 = cls.work.build("user32.dll", user32, MINGW64, *flags, "-luser32")
        newer = "#define _WIN32_WINNT 0x0602\n#include <windows.h>\n"
        newer += x + "void REALPluginMain(void* r) { GetSystemTimePreciseAsFileTime(r); }\n"
        cls.windows8 = cls.work.build("windows8.dll", newer, MINGW64, *flags)
        stdcall = x + "void __stdcall REALPluginMain(void* r) { (void)r; }\n"
        cls.stdcall = cls.work.build("stdcall.dll", stdcall, MINGW32, *flags)

    def test_dlls_exporting_the_entry_point_pass(self):
        self.assertAccepted("Windows x86-64", self.good64)
        self.assertAccepted("Windows", self.good32)

    def test_a_dll_in_the_other_architectures_folder_is_rejected(self):
        self.assertRejected("Windows", self.good64, "the folder needs I386")
        self.assertRejected("Windows x86-64", self.good32, "the folder needs AMD64")
        self.assertRejected("Windows arm64", self.good64, "the folder needs ARM64")

    def test_an_extra_export_is_rejected(self):
        self.assertRejected("Windows x86-64", self.extra, "ExtraFunction")

    def test_an_import_beyond_kernel32_and_msvcrt_is_rejected(self):
        self.assertRejected("Windows x86-64", self.user32, "USER32.dll")

    def test_a_function_newer_than_windows_7_is_rejected(self):
        self.assertRejected("Windows x86-64", self.windows8, "GetSystemTimePreciseAsFileTime")

    def test_a_decorated_stdcall_entry_point_is_rejected(self):
        self.assertRejected("Windows", self.stdcall, "@4", "does not export REALPluginMain")


@unittest.skipUnless(CLANG and LD_LLD and LLD_LINK, "clang and lld are not installed")
class LlvmElfAndArm64Libraries(RemovesWorkdir, CheckAssertions):
    """ARM Linux objects and an ARM64 Windows DLL, built without any system libraries."""

    @classmethod
    def setUpClass(cls):
        cls.work = Workdir()
        elf_flags = ["-shared", "-fPIC", "-fvisibility=hidden", "-nostdlib", "-fuse-ld=lld"]
        source = VISIBLE + ENTRY
        cls.arm64 = cls.work.build("a64.so", source, CLANG, "--target=aarch64-linux-gnu", *elf_flags)
        cls.armhf = cls.work.build("hf.so", source, CLANG, "--target=arm-linux-gnueabihf", *elf_flags)
        cls.armel = cls.work.build(
            "el.so", source, CLANG, "--target=arm-linux-gnueabi", "-mfloat-abi=soft", *elf_flags
        )
        obj = cls.work.file("w.obj")
        src = cls.work.file("w.c", "__declspec(dllexport) " + ENTRY)
        cls.work.run(CLANG, "--target=aarch64-pc-windows-msvc", "-c", "-o", obj, src)
        dll = cls.work.file("w.dll")
        cls.work.run(LLD_LINK, "/dll", "/noentry", "/out:" + dll, obj)
        cls.win_arm64 = read(dll)

    def test_arm_linux_libraries_pass_in_their_folders(self):
        self.assertAccepted("Linux arm64", self.arm64)
        self.assertAccepted("Linux ARM", self.armhf)

    def test_a_soft_float_arm_library_is_rejected(self):
        self.assertRejected("Linux ARM", self.armel, "hard-float")

    def test_arm64_and_arm_are_told_apart(self):
        self.assertRejected("Linux ARM", self.arm64, "the folder needs ELF 32-bit ARM")
        self.assertRejected("Linux arm64", self.armhf, "the folder needs ELF 64-bit aarch64")

    def test_an_arm64_windows_dll_passes_only_in_its_folder(self):
        self.assertAccepted("Windows arm64", self.win_arm64)
        self.assertRejected("Windows x86-64", self.win_arm64, "the folder needs AMD64")


@unittest.skipUnless(CLANG and LD64_LLD and LIPO, "clang, ld64.lld and llvm-lipo are not installed")
class MacLibraries(RemovesWorkdir, CheckAssertions):
    """Dylibs linked by LLVM's Mach-O linker (no SDK needed for code without system calls)."""

    @classmethod
    def setUpClass(cls):
        cls.work = Workdir()
        cls.universal = cls.fat("good", VISIBLE + ENTRY, "10.13")
        cls.extra = cls.fat("extra", VISIBLE + ENTRY + VISIBLE + EXTRA, "10.13")
        cls.too_new = cls.fat("new", VISIBLE + ENTRY, "12.0")
        cls.thin = read(cls.slice("thin", VISIBLE + ENTRY, "arm64", "11.0"))
        helper = cls.slice("helper", VISIBLE + EXTRA, "x86_64", "10.13", "/opt/local/libhelper.dylib")
        linked = cls.slice("linked", VISIBLE + ENTRY, "x86_64", "10.13", None, helper)
        arm = cls.slice("linked-arm", VISIBLE + ENTRY, "arm64", "11.0")
        cls.foreign = cls.lipo("foreign", linked, arm)

    @classmethod
    def slice(cls, name, source, arch, version, install_name=None, *link):
        src = cls.work.file(name + "-" + arch + ".c", source)
        obj = cls.work.file(name + "-" + arch + ".o")
        out = cls.work.file(name + "-" + arch + ".dylib")
        target = "--target=%s-apple-macos%s" % (arch, version)
        cls.work.run(CLANG, target, "-fvisibility=hidden", "-c", "-o", obj, src)
        command = [LD64_LLD, "-dylib", "-arch", arch, "-platform_version", "macos", version]
        command += [version, "-o", out, obj, *link]
        command += ["-install_name", install_name or "@rpath/libPendlow.dylib"]
        cls.work.run(*command)
        return out

    @classmethod
    def lipo(cls, name, *slices):
        out = cls.work.file(name + ".dylib")
        cls.work.run(LIPO, "-create", *slices, "-output", out)
        return read(out)

    @classmethod
    def fat(cls, name, source, x86_version):
        return cls.lipo(
            name,
            cls.slice(name, source, "x86_64", x86_version),
            cls.slice(name, source, "arm64", "11.0"),
        )

    def test_a_universal_dylib_exporting_only_the_entry_point_passes(self):
        self.assertAccepted("Mac Universal", self.universal)

    def test_a_thin_dylib_is_rejected(self):
        self.assertRejected("Mac Universal", self.thin, "not a universal binary")

    def test_an_extra_export_is_rejected(self):
        self.assertRejected("Mac Universal", self.extra, "_ExtraFunction")

    def test_a_deployment_target_above_the_floor_is_rejected(self):
        self.assertRejected("Mac Universal", self.too_new, "needs macOS 12.0")

    def test_a_dylib_linking_outside_the_system_is_rejected(self):
        self.assertRejected("Mac Universal", self.foreign, "/opt/local/libhelper.dylib")


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--library")
    parser.add_argument("--cc", default="cc")
    known, rest = parser.parse_known_args()
    OPTIONS.library, OPTIONS.cc = known.library, known.cc
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
