"""Reads the built DLL and checks what a client's release engineer would: hardening, imports, exports, files beside it.

Usage: check_products.py --bin FOLDER --def FILE --header FILE --machine x64|arm64
       --toolchain FOLDER
"""

import argparse
import pathlib
import re
import struct
import sys
import unittest

import pefile

OPTIONS = None
ROOT = pathlib.Path(__file__).resolve().parents[2]

MACHINES = {"x64": 0x8664, "arm64": 0xAA64}

# DllCharacteristics and load-configuration flags of the PE format.
HIGH_ENTROPY_VA = 0x0020
DYNAMIC_BASE = 0x0040
NX_COMPAT = 0x0100
GUARD_CF = 0x4000
SECTION_EXECUTE = 0x20000000
SECTION_WRITE = 0x80000000
CF_INSTRUMENTED = 0x00000100
CF_FUNCTION_TABLE_PRESENT = 0x00000400

# Resource types, and what the version resource says.
RT_VERSION = 16
RT_HTML = 23
RT_MANIFEST = 24
VERSION_FILE_IS_A_DLL = 2
VERSION_TEXTS = {
    "CompanyName": "Zelto",
    "FileDescription": "ZeltoClient authentication library",
    "FileVersion": "1.0.0.0",
    "InternalName": "ZeltoAuth",
    "OriginalFilename": "ZeltoAuth.dll",
    "ProductName": "ZeltoClient",
    "ProductVersion": "1.0.0.0",
}

# Windows' own DLLs that the library may stand on, and the client's session utility library. The C runtime comes as API
# sets.
ALLOWED_DLLS = {
    "advapi32.dll", "bcrypt.dll", "crypt32.dll", "dbghelp.dll", "kernel32.dll", "msi.dll", "shell32.dll",
    "user32.dll", "winhttp.dll", "wininet.dll", "ws2_32.dll", "zeltosession.dll",
}

# What the library's callers link to, for ever.
EXPORTS = {
    "BasicAuthGetResponse", "ClearCookies", "GetIpsecSamlDataExternalBrowser", "GetSslSamlDataExternalBrowser",
    "SamlAuthClearCookies", "SamlAuthGetAzureToken", "SamlAuthGetResponseUsingElectron",
    "SamlAuthGetResponseUsingExternalBrowser", "SamlAuthGetResponseUsingWebBrowser",
    "SamlAuthGetResponseUsingWebView2", "SamlGetResponseUsingExternalAuthProvider", "StopRunningZeltoAuth",
    "TwoFactorAuthGetResponse",
}


def exports_of_def(path):
    """Export names of a module-definition file."""
    lines = path.read_text(encoding="utf-8").splitlines()
    start = lines.index("EXPORTS")
    return {line.split()[0] for line in lines[start + 1:] if line.strip() and not line.lstrip().startswith(";")}


def names_in_readme(path):
    """Names in the first column of the README's table of exports."""
    table = re.search(r"^\| Export \|.*\n\|[-|]+\|\n((?:\|.*\n)+)", path.read_text(encoding="utf-8"), flags=re.M)
    return [re.match(r"\| `(\w+)` \| \S", row).group(1) for row in table.group(1).splitlines()]


def files_in_docs(path):
    """The file that the docs' table names for each export."""
    return dict(re.findall(r"^\| `(\w+)` \| `([\w/.]+)` \|$", path.read_text(encoding="utf-8"), flags=re.M))


def documented_functions(path):
    """Names of the functions in the public header that stand directly below a comment, alone or in a row."""
    text = path.read_text(encoding="utf-8")
    rows = re.findall(r"\*/\n((?:u?int32_t\s+\w+\s*\([^;]*;\n)+)", text)
    return set(re.findall(r"^u?int32_t\s+(\w+)\s*\(", "".join(rows), flags=re.M))


def functions_in_test_support(path):
    """Names of the exports that the tests look up in the built DLL."""
    return set(re.findall(r"decltype\(&::(\w+)\) \1;", path.read_text(encoding="utf-8")))


def functions_of_header(path):
    """Names of the functions that the public header declares."""
    text = re.sub(r"/\*.*?\*/", "", path.read_text(encoding="utf-8"), flags=re.S)
    return set(re.findall(r"^\s*u?int32_t\s+(\w+)\s*\(", text, flags=re.M))


class Products(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bin = pathlib.Path(OPTIONS.bin)
        cls.image = pefile.PE(str(cls.bin / "ZeltoAuth.dll"))

    def test_the_machine_is_the_one_asked_for(self):
        self.assertEqual(self.image.FILE_HEADER.Machine, MACHINES[OPTIONS.machine])

    def test_hardening_flags_are_set(self):
        flags = self.image.OPTIONAL_HEADER.DllCharacteristics
        for name, bit in (("high-entropy ASLR", HIGH_ENTROPY_VA), ("ASLR", DYNAMIC_BASE), ("NX", NX_COMPAT),
                          ("control-flow guard", GUARD_CF)):
            self.assertTrue(flags & bit, f"{name} is missing (DllCharacteristics 0x{flags:04x})")

    def test_relocations_let_aslr_work(self):
        self.assertGreater(self.image.OPTIONAL_HEADER.DATA_DIRECTORY[5].Size, 0)

    def test_control_flow_guard_has_its_tables(self):
        self.image.parse_data_directories(
            directories=[pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_LOAD_CONFIG"]])
        config = self.image.DIRECTORY_ENTRY_LOAD_CONFIG.struct
        self.assertTrue(config.GuardFlags & CF_INSTRUMENTED, f"GuardFlags 0x{config.GuardFlags:x}")
        self.assertTrue(config.GuardFlags & CF_FUNCTION_TABLE_PRESENT, f"GuardFlags 0x{config.GuardFlags:x}")
        self.assertGreater(config.GuardCFFunctionCount, 0)

    def test_no_section_is_writable_and_executable(self):
        for section in self.image.sections:
            both = section.Characteristics & SECTION_EXECUTE and section.Characteristics & SECTION_WRITE
            self.assertFalse(both, section.Name)

    def test_imports_name_known_dlls_only(self):
        names = {entry.dll.decode().lower() for entry in self.image.DIRECTORY_ENTRY_IMPORT}
        foreign = {name for name in names if name not in ALLOWED_DLLS and not name.startswith("api-ms-win-crt-")}
        self.assertEqual(foreign, set())

    def test_no_callback_is_left_with_the_system_for_the_end_of_a_thread(self):
        # A thread that ends after the library is unloaded would run it.
        imported = {symbol.name.decode() for entry in self.image.DIRECTORY_ENTRY_IMPORT for symbol in entry.imports
                    if symbol.name}
        self.assertEqual({name for name in imported if name.startswith("Fls")}, set())

    def test_exports_are_those_of_the_def_file(self):
        exported = {symbol.name.decode() for symbol in self.image.DIRECTORY_ENTRY_EXPORT.symbols}
        self.assertEqual(exported, exports_of_def(pathlib.Path(OPTIONS.definition)))

    def test_exports_are_the_thirteen(self):
        exported = {symbol.name.decode() for symbol in self.image.DIRECTORY_ENTRY_EXPORT.symbols}
        self.assertEqual(exported, EXPORTS)

    def test_exports_are_those_of_the_public_header(self):
        self.assertEqual(functions_of_header(pathlib.Path(OPTIONS.header)),
                         exports_of_def(pathlib.Path(OPTIONS.definition)))

    def test_exports_are_those_that_the_header_documents(self):
        self.assertEqual(documented_functions(pathlib.Path(OPTIONS.header)),
                         exports_of_def(pathlib.Path(OPTIONS.definition)))

    def test_exports_are_those_of_the_readmes_table_each_once(self):
        self.assertEqual(sorted(names_in_readme(ROOT / "README.md")),
                         sorted(exports_of_def(pathlib.Path(OPTIONS.definition))))

    def test_exports_are_those_of_the_docs_each_with_its_file(self):
        files = files_in_docs(ROOT / "docs" / "how-it-fits.md")
        self.assertEqual(set(files), exports_of_def(pathlib.Path(OPTIONS.definition)))
        for name, file in files.items():
            self.assertRegex((ROOT / file).read_text(encoding="utf-8"), rf"(?m)^u?int32_t {name}\(")

    def test_every_export_is_looked_up_by_the_tests(self):
        self.assertEqual(functions_in_test_support(ROOT / "tests" / "support" / "library_under_test.h"),
                         exports_of_def(pathlib.Path(OPTIONS.definition)))

    def resources_of_type(self, number):
        """(name, language, bytes) of each resource of that type."""
        types = [entry for entry in self.image.DIRECTORY_ENTRY_RESOURCE.entries if entry.id == number]
        return [(name.id, language.id,
                 self.image.get_data(language.data.struct.OffsetToData, language.data.struct.Size))
                for entry in types for name in entry.directory.entries for language in name.directory.entries]

    def test_the_version_resource_names_the_library(self):
        fixed = self.image.VS_FIXEDFILEINFO[0]
        for high, low in ((fixed.FileVersionMS, fixed.FileVersionLS),
                          (fixed.ProductVersionMS, fixed.ProductVersionLS)):
            self.assertEqual((high, low), (1 << 16, 0))
        self.assertEqual(fixed.FileType, VERSION_FILE_IS_A_DLL)
        self.assertEqual(fixed.FileFlags, 0)
        texts = {key.decode(): value.decode() for block in self.image.FileInfo[0] if block.Key == b"StringFileInfo"
                 for table in block.StringTable for key, value in table.entries.items()}
        self.assertEqual(texts, VERSION_TEXTS)
        translations = [entry.entry for block in self.image.FileInfo[0] if block.Key == b"VarFileInfo"
                        for entry in block.Var]
        self.assertEqual(translations, [{b"Translation": "0x0409 0x04b0"}])

    def test_the_manifest_is_a_librarys_and_asks_for_no_rights(self):
        manifests = self.resources_of_type(RT_MANIFEST)
        self.assertEqual([name for name, _, _ in manifests], [2])
        text = manifests[0][2].decode()
        self.assertIn('<requestedExecutionLevel level="asInvoker" uiAccess="false"/>', text)
        self.assertIn('name="ZeltoClient.ZeltoAuth"', text)

    def test_every_resource_is_in_us_english(self):
        for number in (RT_VERSION, RT_HTML, RT_MANIFEST):
            found = self.resources_of_type(number)
            self.assertNotEqual(found, [])
            self.assertEqual({language for _, language, _ in found}, {0x0409}, f"type {number}")

    def test_pages_and_manifest_are_resources(self):
        ids = {(kind.id, entry.id) for kind in self.image.DIRECTORY_ENTRY_RESOURCE.entries
               for entry in kind.directory.entries}
        self.assertLessEqual({(23, 1004), (23, 1005), (24, 2)}, ids)

    def test_the_pdb_belongs_to_the_dll(self):
        codeview = [entry.entry for entry in self.image.DIRECTORY_ENTRY_DEBUG if entry.entry is not None
                    and hasattr(entry.entry, "PdbFileName")]
        self.assertEqual(len(codeview), 1)
        self.assertEqual(codeview[0].PdbFileName.rstrip(b"\0"), b"ZeltoAuth.pdb")
        pdb = (self.bin / "ZeltoAuth.pdb").read_bytes()
        self.assertTrue(pdb.startswith(b"Microsoft C/C++ MSF 7.00\r\n"))
        guid = struct.pack("<IHH", codeview[0].Signature_Data1, codeview[0].Signature_Data2,
                           codeview[0].Signature_Data3)
        self.assertIn(guid, pdb, "the PDB carries another build's signature")

    def test_it_does_not_tell_where_it_was_built(self):
        image = (self.bin / "ZeltoAuth.dll").read_bytes()
        for folder in (ROOT, pathlib.Path(OPTIONS.toolchain).parent):
            self.assertFalse(f"{folder}/".encode() in image, folder)

    def test_the_session_library_or_its_stand_in_lies_beside(self):
        image = pefile.PE(str(self.bin / "ZeltoSession.dll"))
        self.assertEqual(image.FILE_HEADER.Machine, MACHINES[OPTIONS.machine])
        self.assertEqual({symbol.name.decode() for symbol in image.DIRECTORY_ENTRY_EXPORT.symbols},
                         {"CreateProcessInSessionEx", "SelectCurrentActiveTSSession"})

    def test_the_import_library_lies_beside(self):
        libraries = [path for path in self.bin.iterdir() if path.suffix in (".a", ".lib")]
        self.assertEqual(len(libraries), 1, libraries)


def main():
    global OPTIONS
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", required=True)
    parser.add_argument("--def", required=True, dest="definition")
    parser.add_argument("--header", required=True)
    parser.add_argument("--machine", required=True, choices=sorted(MACHINES))
    parser.add_argument("--toolchain", required=True)
    OPTIONS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], "-v"])


if __name__ == "__main__":
    main()
