def planted(cases, court):
    return cases
