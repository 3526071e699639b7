"""Finds and loads libtova_algorithm and binds every exported function."""
import ctypes as C
import ctypes.util
import os
import pathlib

from ._bindings import FUNCTIONS


def _candidates():
    env = os.environ.get("TOVA_ALGORITHM_LIBRARY")
    if env:
        yield env
        return
    here = pathlib.Path(__file__).resolve().parent
    # a source checkout: python/tova_algorithm -> build/<preset>/
    for preset in ("release", "debug"):
        yield str(here.parent.parent / "build" / preset / "libtova_algorithm.so")
    # an installed tree: <prefix>/lib/pythonX/site-packages/tova_algorithm -> <prefix>/lib
    for up in (here.parents[2], here.parents[3]):
        yield str(up / "libtova_algorithm.so")
    found = ctypes.util.find_library("tova_algorithm")
    if found:
        yield found
    yield "libtova_algorithm.so.1"


def load():
    errors = []
    for path in _candidates():
        if os.path.sep in path and not os.path.exists(path):
            continue
        try:
            lib = C.CDLL(path)
        except OSError as e:
            errors.append(f"{path}: {e}")
            continue
        # A library older than these headers lacks some functions: bind the
        # rest and list the others, rather than refuse to load at all.
        missing = []
        for name, (_header, restype, argtypes) in FUNCTIONS.items():
            try:
                fn = getattr(lib, name)
            except AttributeError:
                missing.append(name)
                continue
            fn.restype = restype
            fn.argtypes = argtypes
        lib.path = path
        lib.missing_functions = missing
        return lib
    raise OSError("libtova_algorithm not found; set TOVA_ALGORITHM_LIBRARY to its path\n"
                  + "\n".join(errors))
