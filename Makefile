# The front door. Each target does its own set-up and is safe to run again.
.PHONY: run test bench clean
.NOTPARALLEL:

run:
	@Scripts/run

test:
	@Scripts/test

bench:
	@Scripts/bench

clean:
	rm -rf build
