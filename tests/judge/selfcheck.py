def check(programs, court):
    return 1
