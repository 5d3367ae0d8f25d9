\.AP1\.cube$
