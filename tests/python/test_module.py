"""The package itself: version, exports, type stubs."""

import ast
import os

import korvane


def test_version_is_the_projects():
    assert korvane.__version__ == os.environ.get("KORVANE_EXPECTED_VERSION", korvane.__version__)
    assert korvane.__version__.count(".") == 2


def test_public_names_are_exported():
    for name in korvane.__all__:
        assert hasattr(korvane, name), name
    assert issubclass(korvane.KorvaneCamera, korvane.StereoCamera)
    assert korvane.synthetic.Module is korvane._korvane.synthetic.Module


def stub_names(path):
    tree = ast.parse(open(path).read())
    names = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            names[node.name] = {n.name for n in node.body if isinstance(n, ast.FunctionDef)} | {
                n.target.id for n in node.body if isinstance(n, ast.AnnAssign)}
        elif isinstance(node, ast.FunctionDef):
            names[node.name] = set()
    return names


def test_stubs_name_what_the_module_has():
    folder = os.path.dirname(korvane.__file__)
    for stub, module in (("__init__.pyi", korvane), ("synthetic.pyi", korvane.synthetic)):
        for name, members in stub_names(os.path.join(folder, stub)).items():
            assert hasattr(module, name), f"{stub}: {name}"
            for member in members:
                assert hasattr(getattr(module, name), member), f"{stub}: {name}.{member}"


def test_every_camera_operation_is_in_the_stubs_and_documented():
    stubs = stub_names(os.path.join(os.path.dirname(korvane.__file__), "__init__.pyi"))
    for cls in (korvane.StereoCamera, korvane.KorvaneCamera):
        public = {n for n in vars(cls) if not n.startswith("_") and not n.isupper()}
        for name in public:
            member = getattr(cls, name)
            if callable(member) or isinstance(member, property):
                assert name in stubs[cls.__name__] or any(name in stubs[b.__name__] for b in cls.__mro__[1:-2]), name
                assert member.__doc__, name
