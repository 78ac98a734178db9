"""How the package's modules run as commands (`python -m tervikrom.rom`, ...)."""
from __future__ import annotations

import os
import sys
from typing import Callable


def run(main: Callable[[], int]) -> None:
    """Exits with main()'s status; a reader of the output that went away (`| head`) ends the
    command quietly, with status 1."""
    try:
        status = main()
        sys.stdout.flush()
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        status = 1
    sys.exit(status)
