# SPDX-License-Identifier: MIT
"""The certificates of the private servers: sound ones, and one for each way to be wrong.

All share one key, as they differ in what they say and not in how they are encrypted.
"""

import pathlib
import subprocess

# The hosts that a certificate names; the servers listen on these addresses.
LOCAL = "DNS:localhost,IP:127.0.0.1,IP:127.0.0.2,IP:127.0.0.3,IP:127.0.0.4,IP:127.0.0.5,IP:127.0.0.6"
KINDS = {
    "good": (LOCAL, "20200101000000Z", "20991231000000Z"),
    "expired": (LOCAL, "20200101000000Z", "20200201000000Z"),
    "wrong-host": ("DNS:elsewhere.example", "20200101000000Z", "20991231000000Z"),
}

SETTINGS = """[req]
distinguished_name = name
[name]
[ca]
default_ca = own
[own]
database = index.txt
new_certs_dir = .
default_md = sha256
policy = any
rand_serial = yes
unique_subject = no
[any]
commonName = supplied
[authority]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign
"""


def openssl(folder, *words):
    run = subprocess.run(["openssl", *words], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True)
    if run.returncode != 0:
        raise RuntimeError(f"openssl {' '.join(words)}: {run.stderr.decode(errors='replace')}")


def make(folder):
    """Makes KIND.pem for each of KINDS and for "self-signed", key.pem, and ca.pem to trust."""
    folder = pathlib.Path(folder)
    settings = SETTINGS
    for kind, (hosts, _, _) in KINDS.items():
        settings += f"[{kind}]\nbasicConstraints = CA:false\nsubjectAltName = {hosts}\n"
    settings += f"[self-signed]\nsubjectAltName = {LOCAL}\n"
    (folder / "openssl.conf").write_text(settings, encoding="ascii")
    (folder / "index.txt").touch()
    openssl(folder, "genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", "key.pem")
    common = ("-config", "openssl.conf", "-key", "key.pem")
    openssl(folder, "req", "-x509", "-new", *common, "-subj", "/CN=Authority of the tests", "-days", "30",
            "-extensions", "authority", "-out", "ca.pem")
    openssl(folder, "req", "-x509", "-new", *common, "-subj", "/CN=localhost", "-days", "30",
            "-extensions", "self-signed", "-out", "self-signed.pem")
    openssl(folder, "req", "-new", *common, "-subj", "/CN=localhost", "-out", "request.pem")
    for kind, (_, begin, end) in KINDS.items():
        openssl(folder, "ca", "-batch", "-notext", "-config", "openssl.conf", "-cert", "ca.pem", "-keyfile",
                "key.pem", "-in", "request.pem", "-extensions", kind, "-startdate", begin, "-enddate", end,
                "-out", f"{kind}.pem")
