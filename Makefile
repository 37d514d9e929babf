# The front door. Each target does its own set-up and is safe to run again.
.PHONY: run test bench gallery clean
.NOTPARALLEL:

run:
	@Scripts/run

test:
	@Scripts/test

bench:
	@Scripts/bench

gallery:
	@Scripts/gallery

clean:
	rm -rf build
