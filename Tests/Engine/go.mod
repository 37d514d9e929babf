module quillmount/enginetest

go 1.26.0
