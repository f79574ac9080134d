"""What a package of ours contains of others, as CycloneDX 1.5: component_list.py VERSION DEBIAN-PACKAGE..."""
import json
import pathlib
import re
import subprocess
import sys


def bundled(folder):
    """A library whose sources lie in third_party; its README says which version."""
    version = re.search(r"Version ([\w.]*\w)", (folder / "README.md").read_text()).group(1)
    return {"type": "library", "name": folder.name, "version": version}


def installed(package):
    version = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], check=True, capture_output=True, text=True)
    return {"type": "library", "name": package, "version": version.stdout, "purl": f"pkg:deb/debian/{package}@{version.stdout}"}


version, *packages = sys.argv[1:]
components = [bundled(folder) for folder in sorted(pathlib.Path("third_party").iterdir()) if folder.is_dir()]
components += [installed(package) for package in packages]
print(json.dumps({
    "bomFormat": "CycloneDX", "specVersion": "1.5", "version": 1,
    "metadata": {"component": {"type": "application", "name": "orvandel", "version": version,
                               "licenses": [{"license": {"id": "Apache-2.0"}}]}},
    "components": components}, indent=1))
