# SPDX-License-Identifier: MIT
"""What a core dump of a process would hold."""


def in_core_dump(process):
    """The memory of a process, without what the kernel leaves out of core dumps (flag "dd")."""
    regions, flags = [], None
    with open(f"/proc/{process}/smaps", encoding="ascii", errors="replace") as maps:
        for line in maps:
            words = line.split()
            if words[0] == "VmFlags:":
                flags = words[1:]
                if "dd" not in flags and "rd" in flags and "io" not in flags:
                    regions.append((start, end, name))
            elif not words[0].endswith(":"):
                start, end = (int(number, 16) for number in words[0].split("-"))
                name = words[5] if len(words) > 5 else "anonymous"
    assert flags is not None
    with open(f"/proc/{process}/mem", "rb", 0) as memory:
        for start, end, name in regions:
            memory.seek(start)
            try:
                yield name, memory.read(end - start)
            except OSError:
                assert name in ("[vvar]", "[vsyscall]"), name
