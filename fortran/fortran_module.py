#!/usr/bin/python3
"""Writes the Fortran 2003 module `tervikrom` from the library's manifest.

    fortran_module.py MANIFEST OUTPUT

MANIFEST is the JSON file the build writes from the public headers
(python/tervikrom/_manifest.py). Every export gets an interface with bind(C), mapped
through iso_c_binding, and every element kind its type code as a named constant. An
export that cannot be mapped stops the generator with a non-zero status naming it, so a
new export is never silently left out. Standard library only.
"""

import json
import os
import sys

MAX_NAME = 63  # longest Fortran 2003 name
MAX_LINE = 132  # longest free-form line

OBJECT = "RomObject"
EXCEPTION = "RomExceptionHandle"


class MappingError(Exception):
    pass


# Parameter types that map whatever the parameter is called: type -> (declaration, kind).
BY_VALUE = {
    OBJECT + "*": ("type(c_ptr), value", "c_ptr"),
    EXCEPTION: ("type(c_ptr), value", "c_ptr"),
    OBJECT + "**": ("type(c_ptr), intent(out)", "c_ptr"),
    "const char**": ("type(c_ptr), intent(out)", "c_ptr"),
    "double**": ("type(c_ptr), intent(out)", "c_ptr"),
    "int32_t**": ("type(c_ptr), intent(out)", "c_ptr"),
    "uint32_t**": ("type(c_ptr), intent(out)", "c_ptr"),
    "const char*": ("character(kind=c_char), dimension(*), intent(in)", "c_char"),
    # Arrays the call only reads, whatever their name.
    "const uint32_t*": ("integer(c_int32_t), dimension(*), intent(in)", "c_int32_t"),
    "const double*": ("real(c_double), dimension(*), intent(in)", "c_double"),
    "uint32_t": ("integer(c_int32_t), value", "c_int32_t"),
    "int32_t": ("integer(c_int32_t), value", "c_int32_t"),
    "double": ("real(c_double), value", "c_double"),
    "bool": ("logical(c_bool), value", "c_bool"),
}
# Pointers to one value the function writes, unless the parameter is named `data`.
SINGLE_OUT = {
    "uint32_t*": ("integer(c_int32_t), intent(out)", "c_int32_t"),
    "int32_t*": ("integer(c_int32_t), intent(out)", "c_int32_t"),
    "double*": ("real(c_double), intent(out)", "c_double"),
}
# Arrays, recognised by the parameter name `data`: copied (const) or kept by the library.
ARRAY_NAME = "data"
ARRAYS = {
    "const double*": ("real(c_double), dimension(*), intent(in)", "c_double", False),
    "const int32_t*": ("integer(c_int32_t), dimension(*), intent(in)", "c_int32_t", False),
    "double*": ("real(c_double), dimension(*), target", "c_double", True),
    "int32_t*": ("integer(c_int32_t), dimension(*), target", "c_int32_t", True),
}
RESULTS = {
    EXCEPTION: ("type(c_ptr)", "c_ptr"),
    "const char*": ("type(c_ptr)", "c_ptr"),
    "bool": ("logical(c_bool)", "c_bool"),
    "uint32_t": ("integer(c_int32_t)", "c_int32_t"),
    "int32_t": ("integer(c_int32_t)", "c_int32_t"),
    "double": ("real(c_double)", "c_double"),
    "void": (None, None),
}


def map_parameter(ctype, name):
    """(declaration, kind, kept) for one parameter."""
    if ctype in BY_VALUE:
        declaration, kind = BY_VALUE[ctype]
        return declaration, kind, False
    if name == ARRAY_NAME:
        if ctype not in ARRAYS:
            raise MappingError("array parameter '%s %s' has no Fortran kind" % (ctype, name))
        return ARRAYS[ctype]
    if ctype in SINGLE_OUT:
        declaration, kind = SINGLE_OUT[ctype]
        return declaration, kind, False
    if ctype in ARRAYS:
        raise MappingError("'%s %s' is an array only when named '%s'" % (ctype, name, ARRAY_NAME))
    raise MappingError("no mapping for parameter '%s %s'" % (ctype, name))


class Function:
    def __init__(self, export):
        self.name = export["name"]
        self.result = export["result"]
        if self.result not in RESULTS:
            raise MappingError("no mapping for the result type '%s'" % self.result)
        if len(self.name) > MAX_NAME:
            raise MappingError("name longer than %d characters" % MAX_NAME)
        self.parameters = []
        for parameter in export["parameters"]:
            ctype, name = parameter["type"], parameter["name"]
            declaration, kind, kept = map_parameter(ctype, name)
            self.parameters.append((ctype, name, declaration, kind, kept))
        names = [p[1].lower() for p in self.parameters] + [self.name.lower()]
        if len(set(names)) != len(names):
            raise MappingError("names that differ only in case")

    def kinds(self):
        kinds = {p[3] for p in self.parameters}
        kinds.add(RESULTS[self.result][1])
        kinds.discard(None)
        return sorted(kinds)

    def fortran(self):
        result_declaration = RESULTS[self.result][0]
        keyword = "subroutine" if result_declaration is None else "function"
        arguments = ", ".join(p[1] for p in self.parameters)
        lines = []
        first = "    %s %s(%s) &" % (keyword, self.name, arguments)
        lines.append(first)
        lines.append('        bind(C, name="%s")' % self.name)
        lines.append("      import :: %s" % ", ".join(self.kinds()))
        if result_declaration is not None:
            lines.append("      %s :: %s" % (result_declaration, self.name))
        for ctype, name, declaration, kind, kept in self.parameters:
            note = "  ! kept by the library: a target that outlives the table" if kept else ""
            lines.append("      %s :: %s%s" % (declaration, name, note))
        lines.append("    end %s %s" % (keyword, self.name))
        for line in lines:
            if len(line) > MAX_LINE:
                raise MappingError("interface line longer than %d characters" % MAX_LINE)
        return "\n".join(lines)


PROLOGUE = """\
! Generated by fortran/fortran_module.py from include/tervik/rom/rom.h: do not edit.
!
! The Fortran 2003 interface to libtervikrom: one bind(C) interface per exported
! function of rom.h, with the same name and arguments, and the element type codes of
! the types table as named constants (RomElementTypeHex8, ...).
!
!  - Objects are type(c_ptr) handles. A function returning type(c_ptr) from a call
!    that can fail returns an exception handle: c_associated(error) means failure;
!    rom_check(error, what) prints its text and stops, or read it with
!    rom_string(RomGetExceptionDescription(error)) and free it with RomReleaseException.
!  - String arguments are C strings: pass rom_c_string(s), i.e. trim(s)//c_null_char.
!  - Strings, tables and handles come back as type(c_ptr): rom_string turns a string
!    into a Fortran character(:), allocatable; c_f_pointer maps a table onto an array.
!  - uint32_t values are integer(c_int32_t) with the same bits: 0xFFFFFFFF, the index
!    RomContainerIndexOf gives for an object that is not a member, reads as -1.
!  - The Copy functions copy the array passed; the Set functions keep it: pass an
!    array with the target attribute that outlives the table it becomes.
module tervikrom
  use, intrinsic :: iso_c_binding
  implicit none

"""

EPILOGUE = """\
  end interface

contains

  ! A copy of the C string at pointer; "" for a null pointer.
  function rom_string(pointer) result(text)
    type(c_ptr), intent(in) :: pointer
    character(:), allocatable :: text
    character(kind=c_char), pointer :: chars(:)
    integer :: length, i

    if (.not. c_associated(pointer)) then
      text = ""
      return
    end if
    call c_f_pointer(pointer, chars, [huge(0)])
    length = 0
    do while (chars(length + 1) /= c_null_char)
      length = length + 1
    end do
    allocate(character(length) :: text)
    do i = 1, length
      text(i:i) = chars(i)
    end do
  end function rom_string

  ! The text as a C string argument: trailing blanks dropped, a null character added.
  function rom_c_string(text) result(string)
    character(*), intent(in) :: text
    character(kind=c_char, len=:), allocatable :: string

    string = trim(text) // c_null_char
  end function rom_c_string

  ! Nothing when error is null; otherwise prints "what failed: <the library's text>"
  ! to standard error, releases the exception and stops with status 1.
  subroutine rom_check(error, what)
    use, intrinsic :: iso_fortran_env, only: error_unit
    type(c_ptr), intent(in) :: error
    character(*), intent(in) :: what

    if (.not. c_associated(error)) return
    write (error_unit, "(a)") what // " failed: " // rom_string(RomGetExceptionDescription(error))
    call RomReleaseException(error)
    stop 1
  end subroutine rom_check

end module tervikrom
"""


def generate(manifest):
    functions = []
    errors = []
    for export in manifest["exports"]:
        try:
            functions.append(Function(export))
        except MappingError as error:
            errors.append("cannot map %s: %s" % (export["name"], error))
    constants = ["RomElementType" + kind["name"] for kind in manifest["elementKinds"]]
    seen = set()
    for name in [f.name for f in functions] + constants:
        if name.lower() in seen:
            errors.append("%s is declared twice (Fortran names ignore case)" % name)
        seen.add(name.lower())
    if errors:
        raise MappingError("\n".join(errors))
    if not functions:
        raise MappingError("no export")
    codes = "".join("  integer(c_int32_t), parameter :: %s = %d\n" % (name, kind["type"])
                    for name, kind in zip(constants, manifest["elementKinds"]))
    body = "\n\n".join(f.fortran() for f in functions)
    return PROLOGUE + codes + "\n  interface\n" + body + "\n" + EPILOGUE


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: fortran_module.py MANIFEST OUTPUT\n")
        return 2
    path, output = argv[1], argv[2]
    try:
        with open(path, encoding="utf-8") as stream:
            module = generate(json.load(stream))
    except (OSError, ValueError) as error:
        sys.stderr.write("fortran_module.py: cannot read the manifest %s: %s\n" % (path, error))
        return 1
    except MappingError as error:
        sys.stderr.write("".join("fortran_module.py: %s: %s\n" % (path, line) for line in str(error).split("\n")))
        return 1
    with open(output + ".tmp", "w", encoding="utf-8") as stream:
        stream.write(module)
    os.replace(output + ".tmp", output)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
