"""The project installs, others build against what is installed, and the Debian package runs where it is unpacked."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = map(pathlib.Path, sys.argv[1:3])
MAIL = SOURCE / "examples" / "lunch.eml"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}\n{done.stderr}")
    return done.stdout


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.path = pathlib.Path(cls.folder.name)
        cls.prefix = cls.path / "prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def convert_with(self, program, **options):
        """The example converts a mail both ways; what it writes has its subject and body."""
        mail = run(program, MAIL, **options)
        source = MAIL.read_text()
        self.assertEqual([line for line in source.splitlines() if line.startswith("Subject:")],
                         [line for line in mail.splitlines() if line.startswith("Subject:")])
        self.assertIn("X-MAPI:", mail)
        self.assertEqual(mail.split("\n\n", 1)[1], source.split("\n\n", 1)[1])

    def test_example_builds_with_cmake_package(self):
        build = self.path / "example"
        run("cmake", "-S", SOURCE / "examples" / "embed", "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", build)
        self.convert_with(build / "own_store")

    def test_example_builds_with_pkg_config(self):
        folder = next(self.prefix.rglob("nalvo.pc")).parent
        flags = run("pkg-config", "--cflags", "--libs", "nalvo", env={**os.environ, "PKG_CONFIG_PATH": str(folder)}).split()
        program = self.path / "own_store"
        run("c++", "-std=c++20", "-Wall", "-Wextra", "-Werror", SOURCE / "examples" / "embed" / "own_store.cc", "-o", program,
            *flags)
        self.convert_with(program, env={**os.environ, "LD_LIBRARY_PATH": str(folder.parent)})

    def test_debian_package_runs_where_it_is_unpacked(self):
        run("cpack", "-B", self.path / "deb", "--config", BUILD / "CPackConfig.cmake")
        package = next((self.path / "deb").glob("*.deb"))
        needed = run("dpkg-deb", "-f", package, "Depends")
        for name in ("libc6", "libgumbo1", "libicu72", "libssl3"):
            self.assertIn(name, needed)
        root = self.path / "root"
        run("dpkg-deb", "-x", package, root)
        page = run("man", "--warnings", "-l", root / "usr/share/man/man1/nalvo.1", env={**os.environ, "LC_ALL": "C.UTF-8"})
        self.assertIn("there comes back whole", " ".join(page.split()))
        run(root / "usr/bin/nalvo", "to-mapi", "-q", "-o", self.path / "lunch.msg", MAIL)
        self.assertIn("Mittagessen", run(root / "usr/bin/nalvo", "show", self.path / "lunch.msg"))

    def test_completion_offers_verbs_and_options(self):
        script = next(self.prefix.rglob("completions/nalvo"))
        program = f"""source {script}; export PATH={self.prefix}/bin:$PATH
            COMP_WORDS=(nalvo to); COMP_CWORD=1; _nalvo; echo "${{COMPREPLY[@]}}"
            COMP_WORDS=(nalvo to-mime --fo); COMP_CWORD=2; _nalvo; echo "${{COMPREPLY[@]}}"
            COMP_WORDS=(nalvo to-mime --form e); COMP_CWORD=3; _nalvo; echo "${{COMPREPLY[@]}}" """
        self.assertEqual(run("bash", "-c", program).split("\n"), ["to-mime to-mapi", "--force --form", "exact", ""])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
