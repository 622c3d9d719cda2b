"""Checks that the links between documents lead somewhere: to a file, and there to a heading."""

from markdown import Document


def broken_links(documents):
    anchors = {document.file.resolve(): set(document.anchors()) for document in documents}
    for document in documents:
        for line, target in document.links():
            if "://" in target or target.startswith("mailto:"):
                continue
            path, _, anchor = target.partition("#")
            file = (document.folder / path if path else document.file).resolve()
            if not file.exists():
                yield f"{document.file}:{line}: there is no {target}"
            elif anchor:
                if file not in anchors:
                    anchors[file] = set(Document(file).anchors())
                if anchor not in anchors[file]:
                    yield f"{document.file}:{line}: there is no heading #{anchor} in {file.name}"
